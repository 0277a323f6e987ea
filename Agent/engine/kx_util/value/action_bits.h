// The bits by which a filter tells the actions of policies apart.
#pragma once

#include <kx_util/policy_codes.h>

/// 0 for a value that has none. The numbers of some later kinds of policies, which no record here has, share one.
constexpr uint32_t KxActionBit_Of(EkxPolicyAction action) {
  const auto value = static_cast<int32_t>(action);
  if (value >= 1 && value <= 13) return uint32_t{1} << (value - 1);
  if (value == 18) return 0x2000;
  return value == 20 || (value >= 22 && value <= 24) ? 0x200000 : 0;
}
