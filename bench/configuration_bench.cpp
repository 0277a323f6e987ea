// What looking up settings costs: a thousand look-ups of one publication, against reading its document once. A shell
// asks for a setting whenever it opens a window; it must not pay for the whole document each time.
#include <benchmark/benchmark.h>
#include <kx_util/shared_configuration.h>

#include <algorithm>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/store/configuration_search.h"
#include "Common_CPP/util/text.h"
#include "bench/plain_read.h"

namespace {

constexpr int kSettings = 200;
constexpr int kLookUps = 1000;

KxWString SettingName(int number) { return *KxText_FromUtf8("Setting" + std::to_string(number)); }

KxWString SettingsXml() {
  KxWString xml = KXW("<Configuration><Agent>");
  for (int i = 0; i < kSettings; ++i) {
    const KxWString name = SettingName(i);
    xml += KXW("<") + name + KXW(" unit=\"s\">") + *KxText_FromUtf8(std::to_string(i)) + KXW("</") + name + KXW(">");
  }
  return xml + KXW("</Agent></Configuration>");
}

SkxPolicyImage SettingsImage() {
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Configuration;
  policy.id = 1;
  policy.name = KXW("settings");
  policy.params = SkxConfigurationParams{SettingsXml(), {}};
  SkxPublication publication;
  publication.policies.push_back(std::move(policy));
  return KxEncode_Image(publication);
}

void ThousandLookUps(benchmark::State& state) {
  const CkxImageSource source(SettingsImage());
  const CkxPolicySourceScope scope(source);
  const KxWString xml = SettingsXml();
  double parse = 1e300;
  double lookUps = 1e300;
  for (auto _ : state) {
    parse = std::min(parse, KxBench_NanosecondsOf([&] {
                       if (!CkxSettingsDocument::Parse(xml)) state.SkipWithError("no document");
                     }));
    CkxConfigurationCache<CkxSettingsDocument>::Instance().Drop();
    lookUps =
        std::min(lookUps, KxBench_NanosecondsOf([&] {
                   for (int i = 0; i < kLookUps; ++i) {
                     const int wanted = i % kSettings;
                     int value = -1;
                     CkxSharedConfig::GetConfigValue((KXW("Agent/") + SettingName(wanted)).c_str(), value, nullptr);
                     if (value != wanted) state.SkipWithError("another value");
                   }
                 }));
  }
  state.counters["ns/look-up"] = lookUps / kLookUps;
  state.counters["parses"] = lookUps / parse;  // a thousand when nothing is remembered
}

}  // namespace

BENCHMARK(ThousandLookUps);
