// compile: policy documents into an image.
#include <ostream>

#include "Agent/engine/kx_publish/check/document_check.h"
#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/finding_report.h"
#include "tools/kxpolicy/image_signing.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct CompileOptions {
  std::vector<std::string> documents;
  std::string folder;
  SkxSigningOptions signing;
  bool strict = false;
};

/// What cannot have been meant goes to the error stream; false when there is such a thing.
bool Lint(const std::vector<SkxDocumentText>& texts, const SkxPublication& publication, const SkxPolicyImage& image,
          std::ostream& err) {
  CkxCheckedDocuments documents;
  for (const SkxDocumentText& text : texts) documents.Add(text, CkxJsonDocument(text.text, true));
  CkxFindingReport report(err, false);
  for (const SkxCheckFinding& finding : KxCheck_Publication(publication, image, documents)) report.Add(finding);
  return report.Errors() + report.Warnings() == 0;
}

EkxExit Compile(const CompileOptions& options, SkxStreams& streams) {
  CkxProgress progress(streams, "reading");
  const std::vector<SkxDocumentText> documents = KxPolicyInput_Texts(options.documents, streams.in);
  SkxPublication publication;
  SkxDocumentError fault;
  if (!KxPolicyDocument_Read(documents, publication, fault)) {
    streams.err << KxText_Printable(KxPolicyInput_FaultLine(documents, fault))
                << '\n';  // the file's name first, where editors look for it
    return EkxExit::UnusableInput;
  }

  const std::optional<KxWString> folder = KxText_FromUtf8(options.folder);
  if (!folder) throw CkxToolFault(EkxExit::UnusableArguments, options.folder + ": is not UTF-8");
  progress.Begin("encoding");
  SkxPolicyImage image = KxEncode_Image(publication);
  progress.Begin("checking");
  if (!Lint(documents, publication, image, streams.err) && options.strict) return EkxExit::Failure;
  progress.Begin("writing");
  options.signing.Sign(image);
  std::string refusal;
  if (!KxPolicyImage_Write(*folder, image, refusal)) throw CkxToolFault(EkxExit::SystemRefused, refusal);
  streams.out << KxText_Printable(options.folder) << ": "
              << KxCounted(publication.policies.size(), "policy", "policies") << ", "
              << KxCounted(publication.groups.size(), "application group", "application groups") << ", "
              << KxCounted(publication.alerts.size(), "alert", "alerts") << '\n';
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Compile(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<CompileOptions>();
  verb.Add("documents", options->documents, "Policy documents, which make one image together; - for standard input")
      .File()
      .Required();
  verb.Add("-o,--output", options->folder, "Folder of the image, which is written whole or not at all")
      .Folder()
      .Required();
  options->signing.AddTo(verb);
  verb.AddFlag("--strict", options->strict, "Nothing is written, and the exit code is 1, where there is a warning");
  verb.Footer("Example: kxpolicy compile policies.jsonc -o build/image");
  return [options](SkxStreams& streams) { return Compile(*options, streams); };
}
