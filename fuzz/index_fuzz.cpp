// An index section of hostile bytes: no name is longer than its slot, none has a NUL in it, and what lies in one slot
// never shows in another.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "Agent/engine/kx_util/store/live_policy_source.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::vector<uint64_t> words(size / sizeof(uint64_t) + 1);  // as aligned as a mapped page
  std::memcpy(words.data(), data, size);
  const std::span index(reinterpret_cast<const unsigned char*>(words.data()), size);
  for (const auto which : {EkxPolicySection::Policies, EkxPolicySection::AppGroups, EkxPolicySection::Alerts}) {
    const KxWString name = KxPolicyIndex_NameIn(index, which);
    const size_t slot = static_cast<size_t>(which) * kKxIndexSlotUnits * sizeof(WCHAR);
    if (name.size() > kKxIndexSlotUnits || name.find(WCHAR{0}) != KxWString::npos) std::abort();
    if (!name.empty() && std::memcmp(data + slot, name.data(), name.size() * sizeof(WCHAR)) != 0) std::abort();
  }
  return 0;
}
