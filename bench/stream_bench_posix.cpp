// eval --targets over a stream of recorded processes: documents a second; how often the JSON library alone could parse
// the same lines meanwhile ("parses"); and how far the peak of memory grows beyond that of a stream of 1,000. And what
// other verbs take for the same stream: so many times what eval takes ("evals").
//
// Arguments: policies, documents. The policies are in memory already; half of the documents are about one of them.
#include <benchmark/benchmark.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "bench/bench_policies.h"
#include "bench/peak_memory_posix.h"
#include "bench/plain_read.h"
#include "bench/stream_text.h"
#include "tests/support/temp_folder.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr int64_t kLines = 1000;

/// A recorded process start of about 300 bytes.
std::string DocumentLine(int64_t number, int64_t policies) {
  const bool isMatch = number % 2 == 0;
  const std::string id = std::to_string(number * 7919 % policies + 1);
  const std::string program = isMatch ? "app-" + std::string(6 - id.size(), '0') + id + ".exe" : "none-" + id + ".exe";
  return R"({"id":)" + std::to_string(number) + R"(,"kind":"process","path":"C:\\Program Files\\Vendor\\bin\\)" +
         program + R"(","size":100017,"fileVersion":"1.2.3.4","versionInfo":{"CompanyName":"Vendor Inc."},)" +
         R"("signers":[{"name":"Vendor Inc.","status":4}],"user":{"sid":"S-1-5-21-1-2-3-1001"},"pid":1017,)" +
         R"("commandLine":"\"C:\\Program Files\\Vendor\\bin\\)" + program + R"(\" /quiet /norestart"})" + "\n";
}

std::string Lines(int64_t policies) {
  std::string lines;
  for (int64_t i = 0; i < kLines; ++i) lines += DocumentLine(i, policies);
  return lines;
}

void RunAll(const std::string& text, int64_t times, const std::vector<std::string>& arguments) {
  RepeatedText lines(text, times);
  Nowhere nowhere;
  std::istream in(&lines);
  std::ostream out(&nowhere);
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  if (KxPolicy_Run(arguments, streams) != 0) throw std::runtime_error(err.str());
}

void EvalAll(const std::string& text, int64_t times, const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"eval", "--targets", "-", "--format", "json"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  RunAll(text, times, arguments);
}

void ParseAll(const std::string& text, int64_t times) {
  RepeatedText lines(text, times);
  std::istream in(&lines);
  for (std::string line; std::getline(in, line);) benchmark::DoNotOptimize(nlohmann::json::parse(line));
}

void Stream(benchmark::State& state, const std::vector<std::string>& options) {
  const BenchPolicies policies(static_cast<uint32_t>(state.range(0)), BenchPolicies::NameTarget);
  const CkxPolicySourceScope scope(policies.Source());  // which is what eval without an image asks
  const std::string text = Lines(state.range(0));
  const int64_t times = state.range(1) / kLines;
  EvalAll(text, 1, options);  // what is made once
  const long before = KxBench_PeakKilobytes();
  CkxBenchTurns turns;
  for (auto _ : state) {
    turns.Take([&] { EvalAll(text, times, options); }, [&] { ParseAll(text, times); });
  }
  const auto documents = static_cast<double>(state.range(1));
  state.counters["documents/s"] = documents * 1e9 / turns.Work();
  state.counters["parses"] = turns.Ratio();
  state.counters["bytes"] = static_cast<double>(text.size()) / kLines;
  state.counters["peak_growth_KiB"] = static_cast<double>(KxBench_PeakKilobytes() - before);
}

/// `verb` with the image of the policies behind it, then `rest`; CASES in it is a case file about all of the stream.
void AgainstEval(benchmark::State& state, const std::string& verb, std::vector<std::string> rest) {
  const CkxTempFolder folder;
  const std::string image = (folder.Path() / "image").string();
  const auto policies = static_cast<uint32_t>(state.range(0));
  std::string refusal;
  if (!KxPolicyImage_Write(folder.Text("image"), BenchPolicies::Image(policies, BenchPolicies::NameTarget), refusal)) {
    throw std::runtime_error(refusal);
  }
  folder.Write("cases.json", R"({"cases": [{"events": "-", "expectNot": "elevate"}]})");
  for (std::string& argument : rest) {
    if (argument == "IMAGE") argument = image;
    if (argument == "CASES") argument = (folder.Path() / "cases.json").string();
  }
  rest.insert(rest.begin(), {verb, image});
  const std::string text = Lines(state.range(0));
  const int64_t times = state.range(1) / kLines;
  RunAll(text, 1, rest);  // what is made once
  const long before = KxBench_PeakKilobytes();
  CkxBenchTurns turns;
  for (auto _ : state) {
    turns.Take([&] { RunAll(text, times, rest); }, [&] { EvalAll(text, times, {image}); });
  }
  state.counters["evals"] = turns.Ratio();
  state.counters["peak_growth_KiB"] = static_cast<double>(KxBench_PeakKilobytes() - before);
}

void SummaryStream(benchmark::State& state) { AgainstEval(state, "eval", {"--targets", "-", "--summary"}); }
void CoverageStream(benchmark::State& state) { AgainstEval(state, "test", {"CASES", "--coverage"}); }
void DiffStream(benchmark::State& state) { AgainstEval(state, "diff", {"IMAGE", "--targets", "-"}); }

void EvalStream(benchmark::State& state) { Stream(state, {}); }
void EvalStreamBrief(benchmark::State& state) { Stream(state, {"--brief"}); }

}  // namespace

BENCHMARK(EvalStream)
    ->Args({100, 1000})
    ->Args({100, 100'000})
    ->Args({10'000, 1000})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(EvalStreamBrief)->Args({100, 1000})->Args({10'000, 1000})->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(SummaryStream)->Args({10'000, 100'000})->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(CoverageStream)->Args({10'000, 100'000})->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(DiffStream)->Args({10'000, 100'000})->Iterations(3)->Unit(benchmark::kMillisecond);
