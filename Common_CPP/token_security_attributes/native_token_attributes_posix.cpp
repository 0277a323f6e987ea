#include "Common_CPP/token_security_attributes/native_token_attributes.h"

// The system has no tokens: what there is are objects of ours, which keep their attributes themselves.

const SkxNativeTokenAttributes& KxNativeTokenAttributes_OfSystem() {
  static constexpr SkxNativeTokenAttributes kTable = {
      [](void*, std::span<unsigned char>, uint32_t&) { return kKxStatusNotSupported; },
      [](void*, const SkxTokenRequestRecord&) { return kKxStatusNotSupported; },
      [] {
        return SkxOsVersion{10, 0};
      }};  // as the newest does it
  return kTable;
}
