#include <algorithm>
#include <new>

#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/util/handle_win.h"

// After windows.h, which it does not include itself.
#include <bcrypt.h>

namespace {

bool Succeeded(NTSTATUS status) {
  constexpr NTSTATUS kNoMemory = static_cast<NTSTATUS>(0xC0000017);
  constexpr NTSTATUS kInsufficientResources = static_cast<NTSTATUS>(0xC000009A);
  if (status == kNoMemory || status == kInsufficientResources) throw std::bad_alloc();
  return status >= 0;
}

const wchar_t* NameOf(EkxHashAlgorithm algorithm) {
  switch (algorithm) {
    case EkxHashAlgorithm::Md5:
      return BCRYPT_MD5_ALGORITHM;
    case EkxHashAlgorithm::Sha1:
      return BCRYPT_SHA1_ALGORITHM;
    case EkxHashAlgorithm::Sha256:
      return BCRYPT_SHA256_ALGORITHM;
    case EkxHashAlgorithm::Sha384:
      return BCRYPT_SHA384_ALGORITHM;
    case EkxHashAlgorithm::Sha512:
      return BCRYPT_SHA512_ALGORITHM;
  }
  return L"";
}

}  // namespace

struct CkxHasher::State {
  BCRYPT_ALG_HANDLE provider = nullptr;
  BCRYPT_HASH_HANDLE hash = nullptr;  // null when the system has no such algorithm, and after the end

  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    CloseHash();
    if (provider != nullptr) BCryptCloseAlgorithmProvider(provider, 0);
  }
  void CloseHash() {
    if (hash != nullptr) BCryptDestroyHash(std::exchange(hash, nullptr));
  }
};

CkxHasher::CkxHasher(EkxHashAlgorithm algorithm) : _state(std::make_unique<State>()) {
  if (!Succeeded(BCryptOpenAlgorithmProvider(&_state->provider, NameOf(algorithm), nullptr, 0))) {
    _state->provider = nullptr;
  } else if (!Succeeded(BCryptCreateHash(_state->provider, &_state->hash, nullptr, 0, nullptr, 0, 0))) {
    _state->hash = nullptr;
  }
}

CkxHasher::~CkxHasher() = default;

bool CkxHasher::Update(std::span<const unsigned char> bytes) {
  if (_state->hash == nullptr) return false;
  while (!bytes.empty()) {
    const ULONG count = static_cast<ULONG>(std::min<size_t>(bytes.size(), 1u << 30));
    if (!Succeeded(BCryptHashData(_state->hash, const_cast<UCHAR*>(bytes.data()), count, 0))) return false;
    bytes = bytes.subspan(count);
  }
  return true;
}

bool CkxHasher::Finish(std::vector<unsigned char>& digest) {
  if (_state->hash == nullptr) return false;
  DWORD size = 0;
  ULONG read = 0;
  std::vector<unsigned char> bytes;
  bool done = Succeeded(
      BCryptGetProperty(_state->provider, BCRYPT_HASH_LENGTH, reinterpret_cast<UCHAR*>(&size), sizeof(size), &read, 0));
  bytes.resize(size);
  done = done && Succeeded(BCryptFinishHash(_state->hash, bytes.data(), size, 0));
  _state->CloseHash();
  if (done) digest = std::move(bytes);
  return done;
}
