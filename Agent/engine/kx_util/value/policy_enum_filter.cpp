#include <kx_util/policy_enum_filter.h>

#include "Agent/engine/kx_util/value/action_bits.h"
#include "Common_CPP/util/trace.h"

uint32_t SkxPolicyFilter::GetActionMask(EkxPolicyAction action) {
  const uint32_t bit = KxActionBit_Of(action);
  if (bit == 0) {
    KxTrace(EkxTraceLevel::Error, "SkxPolicyFilter", "ERROR: Unexpected Policy Action value ",
            static_cast<int32_t>(action));
  }
  return bit;
}
