#include <kx_util/match_bitmask.h>

#include "Common_CPP/util/trace.h"

bool KxUtil_MatchBitmask(uint32_t mask, uint32_t value, EkxBitmaskCompareAs compareAs) {
  switch (compareAs) {
    case EkxBitmaskCompareAs::BitsEqual:
      return mask == value;
    case EkxBitmaskCompareAs::BitsAllSet:
      return (mask & value) == mask;
    case EkxBitmaskCompareAs::BitsAnySet:
      return (mask & value) != 0;
    case EkxBitmaskCompareAs::BitsNoneSet:
      return (mask & value) == 0;
  }
  KxTrace(EkxTraceLevel::Error, "KxUtil_MatchBitmask", "ERROR: Unexpected compareAs value ",
          static_cast<uint16_t>(compareAs));
  return false;
}
