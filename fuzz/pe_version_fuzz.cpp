// Program files from arbitrary bytes: whatever they say, no byte outside of them is read and no field is longer than
// they are.
#include <cstdlib>

#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "fuzz/fuzz_source.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<SkxPeVersionInfo> info = KxPe_ReadVersionInfo(CkxFuzzSource(data, size));
  if (!info) return 0;
  size_t bytes = 0;
  for (const auto& [name, text] : info->fields) {
    bytes += (name.size() + text.size()) * sizeof(WCHAR);
    if (info->Field(name) != &text) std::abort();
  }
  if (bytes > size) std::abort();
  return 0;
}
