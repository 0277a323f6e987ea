#include <openssl/evp.h>

#include <new>

#include "Common_CPP/crypto/hash.h"

namespace {

const EVP_MD* MethodOf(EkxHashAlgorithm algorithm) {
  switch (algorithm) {
    case EkxHashAlgorithm::Md5:
      return EVP_md5();
    case EkxHashAlgorithm::Sha1:
      return EVP_sha1();
    case EkxHashAlgorithm::Sha256:
      return EVP_sha256();
    case EkxHashAlgorithm::Sha384:
      return EVP_sha384();
    case EkxHashAlgorithm::Sha512:
      return EVP_sha512();
  }
  return nullptr;
}

}  // namespace

struct CkxHasher::State {
  struct Free {
    void operator()(EVP_MD_CTX* finished) const { EVP_MD_CTX_free(finished); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context;  // none when the library has no such algorithm, and after the end
};

CkxHasher::CkxHasher(EkxHashAlgorithm algorithm) : _state(std::make_unique<State>()) {
  const EVP_MD* method = MethodOf(algorithm);
  _state->context.reset(EVP_MD_CTX_new());
  if (_state->context == nullptr) throw std::bad_alloc();
  if (method != nullptr && EVP_DigestInit_ex(_state->context.get(), method, nullptr) == 1) return;
  // The library has all of our algorithms, unless it keeps to approved ones; it does not tell that from having no
  // memory.
  if (EVP_default_properties_is_fips_enabled(nullptr) != 1) throw std::bad_alloc();
  _state->context.reset();
}

CkxHasher::~CkxHasher() = default;

bool CkxHasher::Update(std::span<const unsigned char> bytes) {
  return _state->context != nullptr && EVP_DigestUpdate(_state->context.get(), bytes.data(), bytes.size()) == 1;
}

bool CkxHasher::Finish(std::vector<unsigned char>& digest) {
  if (_state->context == nullptr) return false;
  unsigned char bytes[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  const bool done = EVP_DigestFinal_ex(_state->context.get(), bytes, &size) == 1;
  _state->context.reset();
  if (done) digest.assign(bytes, bytes + size);
  return done;
}
