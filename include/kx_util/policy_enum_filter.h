// Which policies a walk delivers: by activity, and by action.
#pragma once

#include <kx_util/policy_codes.h>

/// Which policies an enumeration visits.
struct KX_UTIL_API SkxPolicyFilter {
  static constexpr uint32_t kActive = 0x80000000;
  static constexpr uint32_t kInactive = 0x40000000;
  static constexpr uint32_t kByAction = 0x00000001;

  uint32_t Flags = kActive | kInactive;
  uint32_t ActionMask = 0;  ///< looked at with `kByAction` only

  /// The bit of an action; 0 with an error line for a value that has none.
  static uint32_t GetActionMask(EkxPolicyAction action);

  bool Accepts(bool active, EkxPolicyAction action) const {
    if ((Flags & (active ? kActive : kInactive)) == 0) return false;
    return (Flags & kByAction) == 0 || (GetActionMask(action) & ActionMask) != 0;
  }
};
