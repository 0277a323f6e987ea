// Replies of a service to an administrator's question, from arbitrary bytes: a status or a line that says why there is
// none, and a status can be told again.
#include <cstdlib>

#include "Agent/engine/kx_publish/service/service_control.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SkxServiceStatus status;
  std::string why;
  if (KxService_ReadReply({data, size}, status, why) != EkxServiceReply::Status) return 0;
  const std::string told = KxServiceStatus_Json(status);
  const std::string text = "{\"status\":" + told + '}';
  SkxServiceStatus again;
  const std::span bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (KxService_ReadReply(bytes, again, why) != EkxServiceReply::Status) std::abort();
  if (KxServiceStatus_Json(again) != told) std::abort();
  return 0;
}
