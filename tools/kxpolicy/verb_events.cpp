// events: recorded process starts as target documents, a line in, a line out.
#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/events/event_targets.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

#include <ostream>

namespace {

struct EventsOptions {
  std::string kind;
  std::string file = "-";
  bool errorsOk = false;
};

const SkxEventKind& KindNamed(const std::string& name) {
  const SkxEventKind* const kind = KxEventKind_Named(name.c_str());
  if (kind != nullptr) return *kind;
  std::string names;
  for (const SkxEventKind& known : KxEventKinds()) names.append(names.empty() ? "" : ", ").append(known.name);
  throw CkxToolFault(EkxExit::UnusableArguments, "\"" + name + "\" is no kind of events; there are " + names +
                                                     KxNearest_QuestionOf(name, KxEventKinds(), &SkxEventKind::name));
}

/// With the number of its line as the id, where the event has none of its own.
void Write(const nlohmann::ordered_json& document, size_t line, SkxStreams& streams) {
  nlohmann::ordered_json identified = {{"id", line}};
  identified.update(document);
  streams.out << identified.dump() << '\n';
}

EkxExit Events(const EventsOptions& options, SkxStreams& streams) {
  const SkxEventKind& kind = KindNamed(options.kind);
  CkxInput input(options.file, streams.in);
  CkxLineReader lines(input);
  EkxExit code = EkxExit::Done;
  size_t skipped = 0;
  for (std::string line; lines.Next(line);) {
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      const SkxEventTargets targets = KxEvents_Targets(kind, KxJson_Parse(line, false));
      for (const nlohmann::ordered_json& document : targets.documents) Write(document, lines.Number(), streams);
      skipped += targets.skipped;
    } catch (const CkxDocumentFault& fault) {
      const std::string id = std::to_string(lines.Number());
      streams.out << KxFaultAnswer_Of(lines.TooLong() ? "" : line, fault.Line(), id) << '\n';
      if (!options.errorsOk) code = EkxExit::UnusableInput;
    }
    if (!streams.out || streams.outIsTerminal) KxTool_RequireOutput(streams);
  }
  if (skipped != 0) streams.err << "kxpolicy: skipped, being no starts of programs: " << skipped << '\n';
  return code;
}

std::string KindsText() {
  std::string text = "Of these kinds:\n";
  for (const SkxEventKind& kind : KxEventKinds()) {
    text.append("  ").append(kind.name).append(": ").append(kind.meaning).append("\n");
  }
  return text + "Example: kxpolicy events sysmon events.jsonl | kxpolicy eval build/image --targets -";
}

}  // namespace

KxVerbAction KxVerb_Events(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<EventsOptions>();
  verb.Add("kind", options->kind, "What recorded them").Required();
  verb.Add("file", options->file, "Recorded events, one JSON object a line, - for standard input").File();
  verb.AddFlag("--errors-ok", options->errorsOk, "Lines that cannot be used do not make the exit code 3");
  verb.Footer(KindsText().c_str());
  return [options](SkxStreams& streams) { return Events(*options, streams); };
}
