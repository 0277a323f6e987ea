// A result record of hostile bytes, as each of the layouts: decoded to JSON.
//
//   offset 0: the layout; then the record, cut or filled up with zeros to its size
#include <kx_util/policy_result.h>

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "Common_CPP/util/hex.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct Layout {
  const char* name;
  size_t bytes;
};
constexpr std::array<Layout, 6> kLayouts = {{
    {"triggerinfo", sizeof(SkxTriggerPolicyShortInfo)},
    {"triggerinfo-6.0.1.171", sizeof(SkxTriggerPolicyShortInfo_6_0_1_171)},
    {"processdata", sizeof(SkxProcessPolicyData)},
    {"processdata-6.0.1.171", sizeof(SkxProcessPolicyData_6_0_1_171)},
    {"processdata-10.2", sizeof(SkxProcessPolicyData_10_2)},
    {"tokendata", sizeof(SkxTokenPolicyData)},
}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const Layout& layout = kLayouts[data[0] % kLayouts.size()];
  std::vector<unsigned char> record(data + 1, data + size);
  record.resize(layout.bytes);
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  if (KxPolicy_Run({"record", layout.name, KxHex_FromBytes(record)}, streams) != 0) std::abort();
  const nlohmann::json json = nlohmann::json::parse(out.str());
  if (!json.is_object() || json.empty()) std::abort();
  return 0;
}
