// bench: how many decisions a second this machine makes by an image, in each of the ways that there are.
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/decision_json.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "tools/kxpolicy/input.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using Clock = std::chrono::steady_clock;

struct BenchOptions {
  std::vector<std::string> policies;
  std::string target;
  std::string targets;
  std::optional<uint32_t> milliseconds = 1000;
  std::string format = "text";
};

struct BenchTarget {
  std::string text;
  CkxTargetDocument document;
};

/// One way to decide, and how it went.
struct BenchRow {
  const char* way;
  const char* meaning;
  double decisionsASecond;
};

/// `line` of a stream that is called `name`; 0: the text is a document of that name.
BenchTarget ReadTarget(const std::string& text, const std::string& name, size_t line) {
  try {
    return {text, CkxTargetDocument::Parse(text)};
  } catch (const CkxDocumentFault& fault) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       line != 0 ? SkxLineFault(name, line, fault).Text()
                                 : KxPolicyInput_FaultLine({{name, text}}, {name, fault.Pointer(), fault.what()}));
  }
}

/// The document, or the first ones of the stream: enough that they differ as all do.
std::vector<BenchTarget> ReadTargets(const BenchOptions& options, SkxStreams& streams) {
  constexpr size_t kEnough = 10000;
  std::vector<BenchTarget> targets;
  CkxInput input(options.target.empty() ? options.targets : options.target, streams.in);
  if (!options.target.empty()) {
    targets.push_back(ReadTarget(input.ReadAll(), input.Name(), 0));
    return targets;
  }
  CkxLineReader lines(input);
  for (std::string line; targets.size() < kEnough && lines.Next(line);) {
    targets.push_back(ReadTarget(line, input.Name(), lines.Number()));
  }
  if (targets.empty()) throw CkxToolFault(EkxExit::UnusableInput, input.Name() + ": no target document");
  return targets;
}

/// Decides about one target after the other, round and round, until the time is over.
template <class Decide>
double DecisionsASecond(const std::vector<BenchTarget>& targets, const BenchOptions& options, Decide decide) {
  constexpr int kBetweenLooksAtTheClock = 64;
  for (const BenchTarget& target : targets) decide(target);  // facts and memory that later ones find at hand
  const Clock::time_point begin = Clock::now();
  const Clock::time_point end = begin + std::chrono::milliseconds(*options.milliseconds);
  uint64_t decisions = 0;
  Clock::time_point now = begin;
  do {
    for (int i = 0; i < kBetweenLooksAtTheClock; ++i) decide(targets[decisions++ % targets.size()]);
    now = Clock::now();
  } while (now < end);
  return static_cast<double>(decisions) / std::chrono::duration<double>(now - begin).count();
}

void Decide(const BenchTarget& target, const CkxImageJudge& judge) { judge.Judge(target.document); }

/// From the text of the target to the text of the answer, as `eval --targets` does.
void DecideOfText(const BenchTarget& target, const CkxImageJudge& judge) {
  KxDecision_ToJson(KxDecision_OfDocument(CkxTargetDocument::Parse(target.text), {}, judge));
}

std::string Row(const BenchRow& row) {
  char line[128];
  std::snprintf(line, sizeof(line), "%-10s %13.0f  %12.2f  %s\n", row.way, row.decisionsASecond,
                1e6 / row.decisionsASecond, row.meaning);
  return line;
}

EkxExit Bench(const BenchOptions& options, SkxStreams& streams) {
  std::vector<std::string> inputs = options.policies;
  inputs.insert(inputs.end(), {options.target, options.targets});
  KxInput_CheckStandardInput(inputs);
  const std::vector<BenchTarget> targets = ReadTargets(options, streams);
  const CkxImageSource image(KxPolicyInput_Open(options.policies, streams.in).TakeImage());
  const CkxImageJudge reading(image, EkxPrepare::Never);
  const Clock::time_point begin = Clock::now();
  const CkxImageJudge prepared(image, EkxPrepare::AtOnce);
  const std::chrono::duration<double, std::milli> preparing = Clock::now() - begin;
  const CkxPolicySnapshot* const snapshot = prepared.SnapshotForNext();
  if (snapshot == nullptr) {
    throw CkxToolFault(EkxExit::SystemRefused, std::string(KxUtil_FaultText(KxUtil_LastFault())));
  }

  char preparation[64];
  std::snprintf(preparation, sizeof(preparation), "the image is prepared first, in %.1f ms", preparing.count());
  const auto measure = [&](auto decide) { return DecisionsASecond(targets, options, decide); };
  const BenchRow rows[] = {
      {"walk", "each decision reads the image", measure([&](const BenchTarget& target) { Decide(target, reading); })},
      {"snapshot", preparation, measure([&](const BenchTarget& target) { Decide(target, prepared); })},
      {"stream", "the same, from JSON to JSON",
       measure([&](const BenchTarget& target) { DecideOfText(target, prepared); })},
  };
  if (options.format == "json") {
    nlohmann::ordered_json answer = {
        {"policies", snapshot->PolicyCount()}, {"targets", targets.size()}, {"prepareMilliseconds", preparing.count()}};
    for (const BenchRow& row : rows) answer[row.way] = {{"decisionsPerSecond", row.decisionsASecond}};
    streams.out << answer.dump() << '\n';
    return EkxExit::Done;
  }
  streams.out << snapshot->PolicyCount() << " policies, " << targets.size() << " targets\n"
              << "WAY          DECISIONS/S       US EACH\n";
  for (const BenchRow& row : rows) streams.out << Row(row);
  return EkxExit::Done;
}

}  // namespace

KxVerbAction KxVerb_Bench(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<BenchOptions>();
  verb.Add("policies", options->policies, kKxPolicyInputHelp).Path().Required();
  const CkxVerbOptions what = verb.AddChoice("target", "What to decide about");
  what.Add("--target", options->target, "One target document, - for standard input").File();
  what.Add("--targets", options->targets, "The first 10,000 of a stream of them, one a line, - for standard input")
      .File();
  verb.Add("--milliseconds", options->milliseconds, "How long to measure each way; 1000 if not given");
  verb.Add("--format", options->format, "text (a table) or json (one object)").OneOf({"text", "json"});
  return [options](SkxStreams& streams) { return Bench(*options, streams); };
}
