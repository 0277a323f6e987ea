// Keyed digests: HMAC-SHA-256, computed by the system's library. Whoever has the key can make one and judge one; nobody
// else can do either.
//
//   const std::optional<KxHmacBytes> expected = KxHmac_Sha256(key, {record});
//   return expected && KxHmac_Equals(*expected, stored);
#pragma once

#include <array>
#include <initializer_list>
#include <optional>
#include <span>

using KxHmacBytes = std::array<unsigned char, 32>;

/// Over the pieces one behind the other. Nothing without a key, and where the system has no such algorithm; out of
/// memory is an exception. The key stays the caller's, who wipes it: no copy outlives the call.
std::optional<KxHmacBytes> KxHmac_Sha256(std::span<const unsigned char> key,
                                         std::initializer_list<std::span<const unsigned char>> pieces);

/// Takes as long for two that differ in the first byte as for two that are the same, so that nobody finds a digest out
/// byte by byte. Of different lengths: false at once, since a length is no secret.
bool KxHmac_Equals(std::span<const unsigned char> a, std::span<const unsigned char> b);
