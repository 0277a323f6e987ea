// Marks of downloads from arbitrary bytes: no zone that there is not, and none without the words that say so.
#include <cstdlib>

#include "Agent/engine/kx_util/target/zone_identifier.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::optional<uint32_t> zone = KxZoneIdentifier_Read(text);
  if (!zone) return 0;
  if (*zone > 4 || text.find('[') >= text.rfind(static_cast<char>('0' + *zone))) std::abort();
  return 0;
}
