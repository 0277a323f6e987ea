// origin convert over a stream and over one a hundred times as long: lines a second, and how much memory the longer one
// takes beyond the shorter.
#include <benchmark/benchmark.h>

#include <sstream>

#include "bench/peak_memory_posix.h"
#include "bench/stream_text.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr std::string_view kLine =
    R"({"id":1,"xml":"<FileOrigin version=\"1\"><Installer installTime=\"5\"><Process order=\"0\"><Path>C:\\a.exe)"
    R"(</Path></Process></Installer></FileOrigin>"})"
    "\n";

void ConvertStream(benchmark::State& state) {
  const long before = KxBench_PeakKilobytes();
  for (auto _ : state) {
    RepeatedText lines(kLine, state.range(0));
    Nowhere nowhere;
    std::istream in(&lines);
    std::ostream out(&nowhere);
    std::ostringstream err;
    SkxStreams streams = {in, out, err};
    if (KxPolicy_Run({"origin", "convert"}, streams) != 0) state.SkipWithError("not converted");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["peak_growth_KiB"] = static_cast<double>(KxBench_PeakKilobytes() - before);
}
BENCHMARK(ConvertStream)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
