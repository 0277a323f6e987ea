// summary: summaries of `eval --summary --format json` added up.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/decision/decision_summary.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct SummaryOptions {
  std::vector<std::string> files;
  std::string format = "text";
};

EkxExit Summary(const SummaryOptions& options, SkxStreams& streams) {
  KxInput_CheckStandardInput(options.files);
  CkxDecisionSummary sum;
  for (const std::string& path : options.files) {
    CkxInput input(path, streams.in);
    try {
      sum.Add(KxJson_Parse(input.ReadAll(), false));
    } catch (const CkxDocumentFault& fault) {
      throw CkxToolFault(EkxExit::UnusableInput, input.Name() + ": " + fault.Line());
    }
  }
  streams.out << (options.format == "json" ? sum.ToJson().dump() + "\n" : sum.ToText());
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Summary(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SummaryOptions>();
  verb.Add("files", options->files, "What eval --summary --format json wrote; - for standard input").File().Required();
  verb.Add("--format", options->format, "text, or json: a summary like those that are added").OneOf({"text", "json"});
  verb.Footer("Example: kxpolicy summary monday.json tuesday.json");
  return [options](SkxStreams& streams) { return Summary(*options, streams); };
}
