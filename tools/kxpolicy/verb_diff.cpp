// diff: what two images or documents differ in, and which decisions differ.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/compare/decision_changes.h"
#include "Agent/engine/kx_publish/compare/diff_summary.h"
#include "Agent/engine/kx_publish/compare/image_difference.h"
#include "Agent/engine/kx_publish/compare/witnessed_changes.h"
#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/progress.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;

struct DiffOptions {
  std::string was;
  std::string is;
  std::string targets;
  bool summary = false;
  bool errorsOk = false;
  std::string format = "text";
};

std::string DumpedLine(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

/// Its id, else its path: what a person looks for.
ordered_json ExampleName(const CkxTargetDocument& document) {
  ordered_json id = ordered_json::parse(document.IdJson());
  const IkxPathProvider* const file = document.Target().QueryPathProvider();
  if (id.is_null() && file != nullptr) id = KxText_ToUtf8(file->GetPath());
  return id;
}

/// Where the targets of decisions come from: a stream, or what the policies ask for.
enum class EkxExamples { Given, Built };

class DiffWriter {
 public:
  DiffWriter(const DiffOptions& options, SkxStreams& streams) : _json(options.format == "json"), _streams(streams) {}

  void Records(const SkxImageDifferences& found) {
    for (const SkxDifference& difference : found.differences) {
      Line(_json ? DumpedLine(KxDifference_ToJson(difference)) : KxDifference_Text(difference));
    }
  }

  /// `told` is the same to a person.
  void Unusable(const std::string& line, const std::string& fault, const SkxLineFault& told) {
    Line(_json ? KxFaultAnswer_Of(line, fault) : KxText_Printable(told.place + ": unusable: " + told.what));
  }

  void Summary(const CkxDiffSummary& summary) {
    _streams.out << (_json ? DumpedLine(summary.ToJson()) + "\n" : summary.ToText());
  }

  void Decisions(const CkxDecisionChanges& changes, EkxExamples examples) {
    if (_json) {
      for (const SkxDecisionChange& change : changes.Changes()) Line(DumpedLine(ToJson(change, examples)));
      return Line(DumpedLine({{"asked", changes.Asked()}, {"differ", changes.Differing()}}));
    }
    Line(std::to_string(changes.Differing()) + " of " + std::to_string(changes.Asked()) + " decisions differ" +
         (examples == EkxExamples::Built ? ", about targets made from the policies" : ""));
    for (const SkxDecisionChange& change : changes.Changes()) {
      Line("    " + std::to_string(change.count) + "  " + KxDecided_Text(change.was) + " -> " +
           KxDecided_Text(change.is));
      for (const SkxDecisionChange::Example& example : change.examples) {
        const char* const origin = examples == EkxExamples::Built ? "        policy " : "        line ";
        Line(KxText_Printable(origin + std::to_string(example.number) + "  " + example.name));
      }
    }
  }

 private:
  static ordered_json ToJson(const SkxDecisionChange& change, EkxExamples kind) {
    ordered_json examples = ordered_json::array();
    for (const SkxDecisionChange::Example& example : change.examples) {
      if (kind == EkxExamples::Built) {
        examples.push_back({{"policyId", example.number}, {"target", ordered_json::parse(example.name)}});
      } else {
        examples.push_back({{"line", example.number}, {"name", example.name}});
      }
    }
    return {{"kind", "decision"},
            {"count", change.count},
            {"was", change.was},
            {"is", change.is},
            {"examples", std::move(examples)}};
  }

  void Line(const std::string& line) {
    _streams.out << line << '\n';
    if (!_streams.out || _streams.outIsTerminal) KxTool_RequireOutput(_streams);
  }

  const bool _json;
  SkxStreams& _streams;
};

/// Returns how many lines could not be used.
uint64_t AskStream(CkxInput& input, CkxDecisionChanges& changes, DiffWriter* unusableTo, SkxStreams& streams) {
  uint64_t unusable = 0;
  CkxLineReader lines(input);
  CkxProgress progress(streams, "compared", &input);
  for (std::string line; lines.Next(line);) {
    progress.At(lines.Number(), input.Taken());
    try {
      if (lines.TooLong()) throw CkxDocumentFault("", "the line is too long");
      const CkxTargetDocument document = CkxTargetDocument::Parse(line);
      const auto nameOf = [&] {
        const ordered_json name = ExampleName(document);
        return name.is_string() ? name.get<std::string>() : DumpedLine(name);
      };
      changes.Ask(document, nameOf, lines.Number());
    } catch (const CkxDocumentFault& fault) {
      if (unusableTo != nullptr) {
        const SkxLineFault told(input.Name(), lines.Number(), fault);
        unusableTo->Unusable(lines.TooLong() ? "" : line, fault.Line(), told);
      }
      ++unusable;
    }
  }
  return unusable;
}

/// Of many files one each, which are added up: what the records differ in is the same for all of them, and is not told.
EkxExit Summarize(const DiffOptions& options, const CkxPolicySet& was, const CkxPolicySet& is, CkxInput& targets,
                  SkxStreams& streams) {
  CkxDecisionChanges changes(was.Image(), is.Image());
  const uint64_t unusable = AskStream(targets, changes, nullptr, streams);
  CkxDiffSummary summary;
  summary.Add(changes, targets.Name(), unusable);
  DiffWriter(options, streams).Summary(summary);
  if (unusable != 0 && !options.errorsOk) return EkxExit::UnusableInput;
  return changes.Differing() != 0 ? EkxExit::Failure : EkxExit::Done;
}

EkxExit Diff(const DiffOptions& options, SkxStreams& streams) {
  KxInput_CheckStandardInput({options.was, options.is, options.targets});
  const CkxPolicySet was = KxPolicyInput_Open({options.was}, streams.in);
  const CkxPolicySet is = KxPolicyInput_Open({options.is}, streams.in);
  std::optional<CkxInput> targets;  // before anything is written
  if (!options.targets.empty()) targets.emplace(options.targets, streams.in);
  if (options.summary) return Summarize(options, was, is, *targets, streams);

  DiffWriter writer(options, streams);
  const SkxImageDifferences found = KxImage_Differences(was.Image(), is.Image());
  writer.Records(found);
  bool isUsable = found.oldFaults.empty() && found.newFaults.empty();
  bool isDifferent = !found.differences.empty();
  if (targets || isDifferent) {
    CkxDecisionChanges changes(was.Image(), is.Image());
    if (targets) {
      const uint64_t unusable = AskStream(*targets, changes, &writer, streams);
      isUsable = isUsable && (unusable == 0 || options.errorsOk);
    } else {
      KxWitnessed_Ask(was, is, changes);
    }
    writer.Decisions(changes, targets ? EkxExamples::Given : EkxExamples::Built);
    isDifferent = isDifferent || changes.Differing() != 0;
  }
  streams.out.flush();
  KxPolicyInput_TellFaults(was, found.oldFaults, streams.err);
  KxPolicyInput_TellFaults(is, found.newFaults, streams.err);
  if (!isUsable) return EkxExit::UnusableInput;
  return isDifferent ? EkxExit::Failure : EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Diff(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<DiffOptions>();
  const std::string what = "folder of a compiled image, or a policy document; - for standard input";
  verb.Add("before", options->was, "What was: " + what).Path().Required();
  verb.Add("after", options->is, "What is: " + what).Path().Required();
  const CkxOption targets = verb.Add(
      "--targets", options->targets,
      "Target documents, one a line, to ask both about, - for standard input; without: some made from the policies");
  targets.File();
  verb.AddFlag("--summary", options->summary,
               "In place of the differences how many decisions differ and how, to be added up by kxpolicy summary")
      .Needs(targets);
  verb.AddFlag("--errors-ok", options->errorsOk, "Lines of targets that cannot be used do not change the exit code")
      .Needs(targets);
  verb.Add("--format", options->format, "text, or json (one object a line)").OneOf({"text", "json"});
  verb.Footer("Example: kxpolicy diff in-force policies.jsonc --targets seen.jsonl");
  return [options](SkxStreams& streams) { return Diff(*options, streams); };
}
