// What is wiped in a scope: the bytes as they are left behind.
#pragma once

#include <kx_util/shared_buffer.h>

#include "tests/support/record_bytes.h"

class CkxWipeCapture {
 public:
  CkxWipeCapture() : _before(KxUtil_SetWipeHook(Remember)) { left.clear(); }
  ~CkxWipeCapture() { KxUtil_SetWipeHook(_before); }
  CkxWipeCapture(const CkxWipeCapture&) = delete;
  CkxWipeCapture& operator=(const CkxWipeCapture&) = delete;

  /// Text by text, in the order of wiping.
  static inline std::vector<KxBytes> left;

 private:
  static void Remember(const unsigned char* bytes, size_t count) { left.emplace_back(bytes, bytes + count); }

  const KxWipeHook _before;
};
