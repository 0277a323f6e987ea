// The system's calls for the security attributes of a token, in the records and statuses of Windows' native API on
// every platform. They stand in a table, so that tests can put another one in its place: setting takes a right that
// only the system itself has.
#pragma once

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/token_security_attributes/token_attribute_records.h"
#include "Common_CPP/util/nt_status.h"

struct SkxOsVersion {
  uint32_t major = 0;
  uint32_t minor = 0;
};

struct SkxNativeTokenAttributes {
  /// All attributes of `token`, a token or process of the system; `answer` is 8-byte aligned. Where it is too small:
  /// `kKxStatusBufferTooSmall`, with what it takes in `needed`.
  long (*query)(void* token, std::span<unsigned char> answer, uint32_t& needed);

  /// Each attribute of the request with its operation, all or none.
  long (*set)(void* token, const SkxTokenRequestRecord& request);

  /// The true one, whatever the program's manifest makes the system say of itself.
  SkxOsVersion (*osVersion)();
};

/// The system's own, and what is in force on this thread.
const SkxNativeTokenAttributes& KxNativeTokenAttributes_OfSystem();
const SkxNativeTokenAttributes& KxNativeTokenAttributes();

/// While it lives, `KxNativeTokenAttributes` is `table` on this thread. Scopes nest.
class CkxNativeTokenAttributesScope {
 public:
  explicit CkxNativeTokenAttributesScope(const SkxNativeTokenAttributes& table);

 private:
  const CkxThreadPointer<const SkxNativeTokenAttributes>::Scope _scope;
};
