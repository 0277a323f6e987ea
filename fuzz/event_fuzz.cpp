// Input: a recorded event, behind a byte that chooses its kind. What comes of it is a target document.
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/events/event_targets.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

bool IsTargetDocument(const nlohmann::ordered_json& document) {
  try {
    const CkxTargetDocument read = CkxTargetDocument::Parse(document.dump());
    return read.Target().QueryPathProvider() != nullptr;
  } catch (const CkxDocumentFault&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  const SkxEventKind& kind = KxEventKinds()[data[0] % KxEventKinds().size()];
  try {
    const nlohmann::json event = KxJson_Parse({reinterpret_cast<const char*>(data + 1), size - 1}, false);
    for (const auto& document : KxEvents_Targets(kind, event).documents) Require(IsTargetDocument(document));
  } catch (const CkxDocumentFault& fault) {
    Require(fault.Pointer().empty() || fault.Pointer().front() == '/');
    Require(fault.what()[0] != 0);
  }
  return 0;
}
