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

CkxApplicablePolicies::CkxApplicablePolicies(std::vector<uint32_t> ids) : _ids(std::move(ids)), _sorted(_ids) {
  std::sort(_sorted.begin(), _sorted.end());
}

bool CkxApplicablePolicies::Contains(uint32_t id) const {
  return _all || std::binary_search(_sorted.begin(), _sorted.end(), id);
}
