// import: policies of other systems as a policy document.
#include <ostream>

#include "Agent/engine/kx_publish/import/import.h"
#include "Common_CPP/util/counted.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/output.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct ImportOptions {
  std::string kind;
  std::vector<std::string> files;
  std::string document;
  std::string report;
  std::string systemDrive = "C:";
  std::optional<uint32_t> firstId;
};

SkxImportOptions HowToImport(const ImportOptions& options) {
  const std::string& drive = options.systemDrive;
  const char letter = static_cast<char>(drive.empty() ? 0 : drive[0] & ~0x20);
  if (drive.size() != 2 || drive[1] != ':' || letter < 'A' || letter > 'Z') {
    throw CkxToolFault(EkxExit::UnusableArguments, drive + ": is no drive");
  }
  SkxImportOptions how;
  how.machine.systemDrive = {static_cast<WCHAR>(letter), KXW(':')};
  how.firstId = options.firstId.value_or(1);
  if (how.firstId == 0 || how.firstId > 0x7FFFFFFF) {
    throw CkxToolFault(EkxExit::UnusableArguments, "the first id must be from 1 to 2147483647");
  }
  return how;
}

EkxExit Import(const ImportOptions& options, SkxStreams& streams) {
  const SkxImportOptions how = HowToImport(options);
  if (options.document == options.report) {
    throw CkxToolFault(EkxExit::UnusableArguments, "document and report cannot go to the same place");
  }
  KxOutput_CheckPlace(options.document, options.files);
  KxOutput_CheckPlace(options.report, options.files);
  CkxProgress progress(streams, "reading");
  std::vector<SkxImportFile> files;
  for (const std::string& path : options.files) {
    CkxInput input(path, streams.in);
    files.push_back({input.Name(), input.ReadAllBytes()});
  }
  progress.Begin("importing");
  const EkxImportKind kind = options.kind == "applocker" ? EkxImportKind::AppLocker : EkxImportKind::AppControl;
  SkxImportResult result;
  std::string fault;
  if (!KxImport(kind, files, how, result, fault)) throw CkxToolFault(EkxExit::UnusableInput, fault);

  progress.Begin("writing");
  KxOutput_Write(options.document, result.document, streams);
  if (!options.report.empty()) KxOutput_Write(options.report, KxImport_Report(result.policy, false), streams);
  if (options.report.empty()) streams.err << KxImport_Report(result.policy, true);
  if (options.report != "-") {
    KxOutput_Tell(options.document, KxCounted(result.policies, "policy", "policies"), streams);
  }
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Import(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ImportOptions>();
  verb.Add("kind", options->kind, "Whose policies: applocker or appcontrol")
      .Required()
      .OneOf({"applocker", "appcontrol"});
  verb.Add("files", options->files, "Their XML, which makes one document together; - for standard input")
      .File()
      .Required();
  verb.Add("-o,--output", options->document,
           "The policy document, which is written whole or not at all; - for the output")
      .File()
      .Required();
  verb.Add("--report", options->report,
           "Where each rule is listed that is not expressed exactly, with the reason; - for the output; default: a "
           "summary to standard error")
      .File();
  verb.Add("--system-drive", options->systemDrive, "The drive that the machines have their system on; default: C:");
  verb.Add("--first-id", options->firstId, "The id of the first policy; default: 1");
  verb.Footer("Example: kxpolicy import applocker exported.xml -o policies.jsonc");
  return [options](SkxStreams& streams) { return Import(*options, streams); };
}
