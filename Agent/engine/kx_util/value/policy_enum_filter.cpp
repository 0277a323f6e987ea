#include <kx_util/policy_enum_filter.h>

#include "Common_CPP/util/trace.h"

uint32_t SkxPolicyFilter::GetActionMask(EkxPolicyAction action) {
  const auto value = static_cast<int32_t>(action);
  if (value >= 1 && value <= 13) return uint32_t{1} << (value - 1);
  switch (value) {
    case 18:
      return 0x2000;
    case 20:
    case 22:
    case 23:
    case 24:
      return 0x200000;
    default:
      KxTrace(EkxTraceLevel::Error, "SkxPolicyFilter", "ERROR: Unexpected Policy Action value ", value);
      return 0;
  }
}

bool SkxPolicyFilter::Accepts(bool active, EkxPolicyAction action) const {
  if ((Flags & (active ? kActive : kInactive)) == 0) return false;
  return (Flags & kByAction) == 0 || (GetActionMask(action) & ActionMask) != 0;
}
