// compile: policy documents into an image.
#include <ostream>

#include "Agent/engine/kx_publish/encode.h"
#include "Agent/engine/kx_publish/policy_document.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct Options {
  std::vector<std::string> documents;
  std::string folder;
};

std::string Counted(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

EkxExit Run(const Options& options, SkxStreams& streams) {
  std::vector<SkxDocumentText> documents;
  for (const std::string& path : options.documents) {
    CkxInput input(path, streams.in);
    documents.push_back({input.Name(), input.ReadAll()});
  }
  SkxPublication publication;
  SkxDocumentError fault;
  if (!KxPolicyDocument_Read(documents, publication, fault)) {
    streams.err << fault.Text() << '\n';  // the file's name first, where editors look for it
    return EkxExit::UnusableInput;
  }

  const std::optional<KxWString> folder = KxText_FromUtf8(options.folder);
  if (!folder) throw CkxToolFault(EkxExit::UnusableArguments, options.folder + ": is not UTF-8");
  std::string refusal;
  if (!KxPolicyImage_Write(*folder, KxEncode_Image(publication), refusal)) {
    throw CkxToolFault(EkxExit::SystemRefused, refusal);
  }
  streams.out << options.folder << ": " << Counted(publication.policies.size(), "policy", "policies") << ", "
              << Counted(publication.groups.size(), "application group", "application groups") << ", "
              << Counted(publication.alerts.size(), "alert", "alerts") << '\n';
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Compile(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  app.add_option("documents", options->documents,
                 "Policy documents, which make one image together; - for standard input")
      ->required();
  app.add_option("-o,--output", options->folder, "Folder of the image, which is written whole or not at all")
      ->required();
  app.footer("Example: kxpolicy compile policies.jsonc -o build/image");
  return [options](SkxStreams& streams) { return Run(*options, streams); };
}
