// origin convert over a stream and over one a hundred times as long: lines a second, and how much memory the longer one
// takes beyond the shorter.
#include <sys/resource.h>

#include <sstream>

#include "bench/plain_read.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr std::string_view kLine =
    R"({"id":1,"xml":"<FileOrigin version=\"1\"><Installer installTime=\"5\"><Process order=\"0\"><Path>C:\\a.exe)"
    R"(</Path></Process></Installer></FileOrigin>"})"
    "\n";

/// The same line again and again, without the memory for all of them.
class RepeatedLines : public std::streambuf {
 public:
  explicit RepeatedLines(int64_t lines) : _left(lines) {}

 protected:
  int_type underflow() override {
    if (_left-- == 0) return traits_type::eof();
    char* const begin = const_cast<char*>(kLine.data());
    setg(begin, begin, begin + kLine.size());
    return traits_type::to_int_type(*begin);
  }

 private:
  int64_t _left;
};

class Nowhere : public std::streambuf {
 protected:
  int_type overflow(int_type unit) override { return traits_type::not_eof(unit); }
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
};

long PeakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

void ConvertStream(benchmark::State& state) {
  const long before = PeakKilobytes();
  for (auto _ : state) {
    RepeatedLines lines(state.range(0));
    Nowhere nowhere;
    std::istream in(&lines);
    std::ostream out(&nowhere);
    std::ostringstream err;
    SkxStreams streams = {in, out, err};
    if (KxPolicy_Run({"origin", "convert"}, streams) != 0) state.SkipWithError("not converted");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["peak_growth_KiB"] = static_cast<double>(PeakKilobytes() - before);
}
BENCHMARK(ConvertStream)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
