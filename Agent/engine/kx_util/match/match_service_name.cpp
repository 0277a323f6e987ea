#include <kx_util/match_service_name.h>

#include "Common_CPP/util/text.h"

bool KxUtil_MatchServiceName(CkxTextView serviceList, CkxTextView serviceName) {
  return !serviceName.IsEmpty() && KxText_AnyField(serviceList, KXW('/'), [&](CkxTextView service) {
    return KxText_Equals(service, serviceName, false);
  });
}
