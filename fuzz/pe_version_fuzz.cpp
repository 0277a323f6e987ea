// Program files from arbitrary bytes: whatever they say, no byte outside of them is read and no field is longer than
// they are.
#include <algorithm>
#include <cstdlib>

#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "Common_CPP/file/byte_source.h"

namespace {

class FuzzSource : public IkxByteSource {
 public:
  FuzzSource(const uint8_t* data, size_t size) : _bytes(data, size) {}
  std::optional<size_t> ReadAt(uint64_t offset, std::span<unsigned char> bytes) const override {
    if (offset >= _bytes.size()) return 0;
    const std::span<const unsigned char> there = _bytes.subspan(static_cast<size_t>(offset));
    const size_t count = std::min(bytes.size(), there.size());
    std::copy_n(there.begin(), count, bytes.begin());
    return count;
  }

 private:
  const std::span<const unsigned char> _bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::optional<SkxPeVersionInfo> info = KxPe_ReadVersionInfo(FuzzSource(data, size));
  if (!info) return 0;
  size_t bytes = 0;
  for (const auto& [name, text] : info->fields) {
    bytes += (name.size() + text.size()) * sizeof(WCHAR);
    if (info->Field(name) != &text) std::abort();
  }
  if (bytes > size) std::abort();
  return 0;
}
