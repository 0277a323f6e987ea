// How texts are stored obfuscated: each byte XOR-ed with one byte, the same for all texts of a build.
#pragma once

#include <cstddef>
#include <cstdint>

// The writer of the policies and all of its readers share the seed; a build option replaces it.
#ifndef KX_OBFUSCATION_SEED
#define KX_OBFUSCATION_SEED "2654435769-1640531527-3144134277-2246822519-3266489917-2869860233-3624381081-668265263"
#endif

/// The low 8 bits of the number that the seed begins with; it ends at the first hyphen. Numbers beyond 32 bits count as
/// the largest of those.
constexpr unsigned char KxObfuscation_KeyOf(const char* seed) {
  uint64_t number = 0;
  for (; *seed >= '0' && *seed <= '9'; ++seed) {
    number = number * 10 + static_cast<uint64_t>(*seed - '0');
    if (number > 0xFFFFFFFF) return 0xFF;
  }
  return static_cast<unsigned char>(number);
}
inline constexpr unsigned char kKxObfuscationKey = KxObfuscation_KeyOf(KX_OBFUSCATION_SEED);

/// What eight stored bytes are XOR-ed with: to complement a byte and to XOR it with the key is one XOR.
inline constexpr uint64_t kKxObfuscationMask = 0x0101010101010101 * (uint64_t{kKxObfuscationKey} ^ 0xFF);

/// `in` is only read; the two may not overlap.
void KxObfuscation_Undo(unsigned char* out, const unsigned char* in, size_t count);
