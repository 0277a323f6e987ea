// compile: policy documents into an image.
#include <ostream>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/lint/lint.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/image_summary.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct CompileOptions {
  std::vector<std::string> documents;
  std::string folder;
};

void WarnOfNames(const SkxPublication& publication, std::ostream& err) {
  for (const SkxFinding& finding : KxLint_Names(publication)) {
    const bool isGroup = finding.section == EkxPolicySection::AppGroups;
    const std::string what = finding.policyId ? "policy " + std::to_string(*finding.policyId)
                             : isGroup        ? "application group " + std::to_string(finding.record + 1)
                                              : "alert " + std::to_string(finding.record + 1);
    err << "kxpolicy: warning: the name of " << what << " " << finding.message << '\n';
  }
}

EkxExit Compile(const CompileOptions& options, SkxStreams& streams) {
  const std::vector<SkxDocumentText> documents = KxPolicyInput_Texts(options.documents, streams.in);
  SkxPublication publication;
  SkxDocumentError fault;
  if (!KxPolicyDocument_Read(documents, publication, fault)) {
    streams.err << KxText_Printable(fault.Text()) << '\n';  // the file's name first, where editors look for it
    return EkxExit::UnusableInput;
  }

  const std::optional<KxWString> folder = KxText_FromUtf8(options.folder);
  if (!folder) throw CkxToolFault(EkxExit::UnusableArguments, options.folder + ": is not UTF-8");
  std::string refusal;
  if (!KxPolicyImage_Write(*folder, KxEncode_Image(publication), refusal)) {
    throw CkxToolFault(EkxExit::SystemRefused, refusal);
  }
  WarnOfNames(publication, streams.err);
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
      .Required();
  verb.Add("-o,--output", options->folder, "Folder of the image, which is written whole or not at all").Required();
  verb.Footer("Example: kxpolicy compile policies.jsonc -o build/image");
  return [options](SkxStreams& streams) { return Compile(*options, streams); };
}
