#include <kx_util/kx_util.h>

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

bool KxUtil_MatchServiceName(CkxTextView serviceList, CkxTextView serviceName) {
  return !serviceName.IsEmpty() && KxText_AnyField(serviceList, KXW('/'), [&](CkxTextView service) {
    return KxText_Equals(service, serviceName, false);
  });
}
