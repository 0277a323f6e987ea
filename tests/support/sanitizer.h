// Whether this is a build with an address sanitizer, where a process takes some thirty times as long to be made and to
// end, and where not all that it does is its own doing.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KX_HAS_ADDRESS_SANITIZER
#endif
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(KX_HAS_ADDRESS_SANITIZER)
constexpr bool kHasAddressSanitizer = true;
#else
constexpr bool kHasAddressSanitizer = false;
#endif
