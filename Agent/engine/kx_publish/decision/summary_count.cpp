#include "Agent/engine/kx_publish/decision/summary_count.h"

#include <limits>

#include "Agent/engine/kx_publish/document/json_reader.h"

void KxSummary_AddCount(CkxJsonObject& object, const char* key, uint64_t& sum) {
  const auto count = object.Required<uint64_t>(key);
  if (count > std::numeric_limits<uint64_t>::max() - sum) {
    throw CkxDocumentFault(object.PointerTo(key), "the sum does not fit 64 bits");
  }
  sum += count;
}

std::string KxSummary_Column(uint64_t count) {
  const std::string text = std::to_string(count);
  return std::string(text.size() < 12 ? 12 - text.size() : 0, ' ') + text;
}
