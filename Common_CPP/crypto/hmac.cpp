#include "Common_CPP/crypto/hmac.h"

bool KxHmac_Equals(std::span<const unsigned char> a, std::span<const unsigned char> b) {
  if (a.size() != b.size()) return false;
  // Volatile, so that no compiler stops at the first difference.
  volatile unsigned char difference = 0;
  for (size_t i = 0; i < a.size(); ++i) difference = static_cast<unsigned char>(difference | (a[i] ^ b[i]));
  return difference == 0;
}
