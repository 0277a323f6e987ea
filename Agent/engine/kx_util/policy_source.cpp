#include <kx_util/policy_source.h>

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_util/live_policy_source.h"

namespace {
thread_local const IkxPolicySource* current = nullptr;
}

const IkxPolicySource& KxPolicySource_Current() { return current != nullptr ? *current : KxPolicySource_Live(); }

CkxPolicySourceScope::CkxPolicySourceScope(const IkxPolicySource& source)
    : _previous(std::exchange(current, &source)) {}

CkxPolicySourceScope::~CkxPolicySourceScope() { current = _previous; }

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
