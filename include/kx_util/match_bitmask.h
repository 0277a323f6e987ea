// Bits, and how they are compared.
#pragma once

#include "Common_CPP/util/base.h"

/// How bits are compared; `mask` is the policy's, `value` the target's.
enum class EkxBitmaskCompareAs : uint16_t {
  BitsEqual = 1,    ///< mask == value
  BitsAllSet = 2,   ///< every bit of the mask is set in the value
  BitsAnySet = 3,   ///< some bit of the mask is set in the value
  BitsNoneSet = 4,  ///< no bit of the mask is set in the value
};

/// False, with an error line, for a way that is none.
KX_UTIL_API bool KxUtil_MatchBitmask(uint32_t mask, uint32_t value, EkxBitmaskCompareAs compareAs);
