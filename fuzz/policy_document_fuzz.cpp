// Any text as a policy document. What reads as one must write as one that means the same.
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  SkxDocumentText document{"fuzz.jsonc", std::string(reinterpret_cast<const char*>(data), size)};
  SkxPublication publication;
  SkxDocumentError error;
  if (!KxPolicyDocument_Read({&document, 1}, publication, error)) {
    if (error.message.empty()) std::abort();
    return 0;
  }
  nlohmann::ordered_json written;
  if (!KxPolicyDocument_Write(publication, written, error)) std::abort();
  document.text = written.dump();
  SkxPublication again;
  if (!KxPolicyDocument_Read({&document, 1}, again, error)) std::abort();
  const SkxPolicyImage first = KxEncode_Image(publication);
  const SkxPolicyImage second = KxEncode_Image(again);
  if (first.policies != second.policies || first.appGroups != second.appGroups || first.alerts != second.alerts ||
      first.applicable != second.applicable) {
    std::abort();
  }
  return 0;
}
