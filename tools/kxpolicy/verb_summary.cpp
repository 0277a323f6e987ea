// summary: what `eval --summary --format json` wrote, or `diff`, added up.
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "Agent/engine/kx_publish/compare/diff_summary.h"
#include "Agent/engine/kx_publish/decision/decision_summary.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct SummaryOptions {
  std::vector<std::string> files;
  std::string format = "text";
};

/// Of one kind: what `eval` has summed up, or what `diff` has.
class Sum {
 public:
  void Add(const nlohmann::json& summary) {
    const bool isOfDiff = summary.is_object() && summary.contains("asked");
    if (isOfDiff ? _ofEval.has_value() : _ofDiff.has_value()) {
      throw CkxDocumentFault("", "is no summary of the same kind as those before it");
    }
    if (isOfDiff) {
      (_ofDiff ? *_ofDiff : _ofDiff.emplace()).Add(summary);
    } else {
      (_ofEval ? *_ofEval : _ofEval.emplace()).Add(summary);
    }
  }

  std::string AsText() const { return _ofDiff ? _ofDiff->ToText() : _ofEval->ToText(); }
  std::string AsJson() const { return (_ofDiff ? _ofDiff->ToJson().dump() : _ofEval->ToJson()) + "\n"; }

 private:
  std::optional<CkxDecisionSummary> _ofEval;
  std::optional<CkxDiffSummary> _ofDiff;
};

/// Each line of the file is one.
void AddAll(CkxInput& input, Sum& sum) {
  CkxLineReader lines(input, CkxInput::kMaxDocumentBytes);
  for (std::string line; lines.Next(line);) {
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      sum.Add(KxJson_Parse(line, false));
    } catch (const CkxDocumentFault& fault) {
      throw CkxToolFault(EkxExit::UnusableInput, SkxLineFault(input.Name(), lines.Number(), fault).Text());
    }
  }
  if (lines.Number() == 0) throw CkxToolFault(EkxExit::UnusableInput, input.Name() + ": has no summary");
}

EkxExit Summary(const SummaryOptions& options, SkxStreams& streams) {
  KxInput_CheckStandardInput(options.files);
  Sum sum;
  for (const std::string& path : options.files) {
    CkxInput input(path, streams.in);
    AddAll(input, sum);
  }
  streams.out << (options.format == "json" ? sum.AsJson() : sum.AsText());
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Summary(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<SummaryOptions>();
  verb.Add("files", options->files, "What eval or diff --summary --format json wrote, one a line; - for standard input")
      .File()
      .Required();
  verb.Add("--format", options->format, "text, or json: a summary like those that are added").OneOf({"text", "json"});
  verb.Footer("Example: kxpolicy summary monday.json tuesday.json");
  return [options](SkxStreams& streams) { return Summary(*options, streams); };
}
