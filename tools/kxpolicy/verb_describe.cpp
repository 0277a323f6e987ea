// describe: live files and processes as target documents, for eval to judge elsewhere.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document_out.h"
#include "tools/kxpolicy/live_target.h"
#include "tools/kxpolicy/secret_input.h"
#include "tools/kxpolicy/tool.h"
#include "tools/kxpolicy/trust_input.h"

namespace {

struct DescribeOptions {
  std::vector<std::string> files;
  std::optional<uint32_t> pid;
  SkxTrustOptions trust;
  SkxSecretOptions secrets;
};

/// The id is what the person called the thing.
template <class Id>
void Write(const CkxTargetInfoPtr& target, const Id& id, const std::string& name, SkxStreams& streams) {
  try {
    nlohmann::ordered_json document = {{"id", id}};
    document.update(KxTargetDocument_Write(static_cast<const CkxTargetInfoFile&>(*target)));
    streams.out << document.dump() << '\n';
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput, name + ": " + fault.Line());
  }
  if (!streams.out || streams.outIsTerminal) KxTool_RequireOutput(streams);
}

EkxExit Describe(const DescribeOptions& options, SkxStreams& streams) {
  const CkxTrustInput trust(options.trust);
  const CkxSecretInput secrets(options.secrets, EkxUnnamedSecrets::Machines);
  for (const std::string& file : options.files) Write(KxLive_File(file, nullptr), file, file, streams);
  if (options.pid) {
    Write(KxLive_Process(*options.pid, nullptr), *options.pid, "process " + std::to_string(*options.pid), streams);
  }
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Describe(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<DescribeOptions>();
  const CkxVerbOptions what = verb.AddChoice("target", "What to describe");
  what.Add("file", options->files, "Files on this machine").File();
  what.Add("--pid", options->pid, "A process on this machine, by its number");
  options->trust.AddTo(verb);
  options->secrets.AddTo(verb);
  verb.Footer(
      "Example: kxpolicy describe setup.exe | kxpolicy eval build/image --targets -\n"
      "Command lines are written as they are: who gives a description away gives them away.");
  return [options](SkxStreams& streams) { return Describe(*options, streams); };
}
