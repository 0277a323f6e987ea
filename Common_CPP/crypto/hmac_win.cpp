#include <algorithm>
#include <new>

#include "Common_CPP/crypto/hmac.h"
#include "Common_CPP/util/handle_win.h"

// After windows.h, which it does not include itself.
#include <bcrypt.h>

namespace {

/// The system has the algorithm always, so that it is memory that it lacks.
void RequireHmac(NTSTATUS status) {
  if (status < 0) throw std::bad_alloc();
}

struct HmacState {
  BCRYPT_ALG_HANDLE provider = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;

  HmacState() = default;
  HmacState(const HmacState&) = delete;
  HmacState& operator=(const HmacState&) = delete;
  ~HmacState() {
    if (hash != nullptr) BCryptDestroyHash(hash);
    if (provider != nullptr) BCryptCloseAlgorithmProvider(provider, 0);
  }
};

}  // namespace

std::optional<KxHmacBytes> KxHmac_Sha256(std::span<const unsigned char> key,
                                         std::initializer_list<std::span<const unsigned char>> pieces) {
  constexpr size_t kMaxPiece = size_t{1} << 30;  // the system counts in 32 bits
  if (key.empty() || key.size() > kMaxPiece) return std::nullopt;
  HmacState state;
  RequireHmac(
      BCryptOpenAlgorithmProvider(&state.provider, BCRYPT_SHA256_ALGORITHM, nullptr, BCRYPT_ALG_HANDLE_HMAC_FLAG));
  RequireHmac(BCryptCreateHash(state.provider, &state.hash, nullptr, 0, const_cast<UCHAR*>(key.data()),
                               static_cast<ULONG>(key.size()), 0));
  for (std::span<const unsigned char> piece : pieces) {
    while (!piece.empty()) {
      const ULONG count = static_cast<ULONG>(std::min(piece.size(), kMaxPiece));
      RequireHmac(BCryptHashData(state.hash, const_cast<UCHAR*>(piece.data()), count, 0));
      piece = piece.subspan(count);
    }
  }
  KxHmacBytes bytes{};
  RequireHmac(BCryptFinishHash(state.hash, bytes.data(), static_cast<ULONG>(bytes.size()), 0));
  return bytes;
}
