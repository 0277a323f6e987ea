// What it costs to keep where a file came from, and to read it: an origin of 20 processes to XML and back, in what
// TinyXML2 alone takes to parse and print the same text.
#include <kx_util/file_origin.h>

#include <tinyxml2.h>

#include "bench/plain_read.h"

namespace {

CkxFileOrigin LongOrigin() {
  CkxFileSrcInstaller installer;
  installer.InstallTime() = 133000000000000000;
  for (int32_t order = 0; order < 20; ++order) {
    SkxFileSrcProcessFacts facts;
    facts.order = order;
    facts.path = KXW("C:\\Program Files\\Vendor\\Application\\program.exe");
    facts.locationType = KXW("FIXED");
    facts.arguments = KXW("/quiet /log \"C:\\Users\\someone\\AppData\\Local\\Temp\\a.log\"");
    facts.publisher = KXW("Vendor & Sons");
    facts.fileDescription = KXW("A program");
    facts.hash = KXW("SHA256##") + KxWString(64, KXW('A'));
    SkxFileSrcUserFacts user;
    user.sid = CkxSid::FromUtf8("S-1-5-21-1-2-3-1001");
    user.groups.assign(8, *user.sid);
    facts.user = CkxFileSrcUser(std::move(user));
    installer.Processes().emplace_back(std::move(facts));
  }
  CkxFileOrigin origin;
  origin.FillFromInstaller(KXW("C:\\a.exe"), std::move(installer));
  return origin;
}

void ByTheLibraryAlone(const std::string& text) {
  tinyxml2::XMLDocument document;
  document.Parse(text.data(), text.size());
  tinyxml2::XMLPrinter printer(nullptr, true);
  document.Print(&printer);
  benchmark::DoNotOptimize(printer.CStr());
}

void OriginToXmlAndBack(benchmark::State& state) {
  const CkxFileOrigin origin = LongOrigin();
  std::string text;
  if (!origin.ToXml(text)) state.SkipWithError("not written");
  double best = 1e300;
  double reference = 1e300;
  for (auto _ : state) {
    reference = std::min(reference, KxBench_NanosecondsOf([&] { ByTheLibraryAlone(text); }));
    best = std::min(best, KxBench_NanosecondsOf([&] {
                      CkxFileOrigin back;
                      if (!origin.ToXml(text) || !back.FromOwnXml(text)) state.SkipWithError("refused");
                    }));
  }
  state.counters["bytes"] = static_cast<double>(text.size());
  state.counters["times_tinyxml2"] = best / reference;
}
BENCHMARK(OriginToXmlAndBack);

}  // namespace
