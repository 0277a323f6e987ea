#include <kx_util/policy_source.h>

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_util/store/live_policy_source.h"

namespace {

/// The innermost scope's source of this thread; null: the live one.
const CkxThreadPointer<const IkxPolicySource>& CurrentSource() {
  static const CkxThreadPointer<const IkxPolicySource> source;
  return source;
}

}  // namespace

const IkxPolicySource& KxPolicySource_Current() {
  const IkxPolicySource* const source = CurrentSource().Get();
  return source != nullptr ? *source : KxPolicySource_Live();
}

CkxPolicySourceScope::CkxPolicySourceScope(const IkxPolicySource& source) : _scope(CurrentSource(), &source) {}

CkxApplicablePolicies CkxApplicablePolicies::All() {
  CkxApplicablePolicies all;
  all._all = true;
  return all;
}

/// A walk asks for each policy: where ids lie as near to each other as they usually do, that is one look at a bit.
CkxApplicablePolicies::CkxApplicablePolicies(std::vector<uint32_t> ids) : _ids(std::move(ids)) {
  if (_ids.empty()) return;
  constexpr size_t kIdsOfSpace = 64;
  const uint32_t largest = *std::max_element(_ids.begin(), _ids.end());
  if (largest / kIdsOfSpace > _ids.size()) {
    _sorted = _ids;
    std::sort(_sorted.begin(), _sorted.end());
    return;
  }
  _bits.resize(largest / 64 + 1);
  for (const uint32_t id : _ids) _bits[id / 64] |= uint64_t{1} << id % 64;
}

bool CkxApplicablePolicies::_IsAmongSorted(uint32_t id) const {
  return std::binary_search(_sorted.begin(), _sorted.end(), id);
}
