// procmap replay: the process map, told of recorded events and asked on a stream. Nothing is read from this machine.
#include <ostream>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tools/kxpolicy/answer.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/json_stream.h"
#include "tools/kxpolicy/memory.h"
#include "tools/kxpolicy/recorded_proc_map.h"

namespace {

struct ReplayOptions {
  std::string requests = "-";
  std::string dump;
};

/// Before there is a map there is nothing to write.
void WriteMap(const std::string& place, SkxStreams& streams) {
  CkxUtilStr text;
  const bool isThere = KxUtilProcMap_GetDump(text);
  KxTool_RequireMemory();
  if (!isThere) return;
  if (place == "-") {
    streams.out << KxText_ToUtf8(text.View());
    return;
  }
  const CkxRefusal refusal;
  const bool isWritten = KxUtilProcMap_Dump(KxText_FromUtf8(place).value_or(KxWString()));
  KxTool_RequireMemory();
  if (!isWritten) throw CkxToolFault(EkxExit::SystemRefused, refusal.Text());
}

EkxExit Replay(const ReplayOptions& options, SkxStreams& streams) {
  CkxInput input(options.requests, streams.in);
  CkxRecordedProcMapSystem system;
  const CkxRecordedProcMap map(system);
  const CkxProcMapScope scope(map);
  const EkxExit code = KxJsonStream_Run(
      input.Stream(), streams, [&system](CkxJsonObject& in) { return KxAnswer_Members(KxProcMap_Answer(in, system)); });
  if (!options.dump.empty()) WriteMap(options.dump, streams);
  return code;
}

}  // namespace

KxVerbAction KxVerb_ProcMapReplay(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<ReplayOptions>();
  verb.Add("requests", options->requests, "Requests, one a line; - for standard input, the default").File();
  verb.Add("--dump", options->dump, "At the end, the whole map as a text to this file, - for standard output").File();
  return [options](SkxStreams& streams) { return Replay(*options, streams); };
}
