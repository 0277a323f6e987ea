#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <memory>
#include <new>

#include "Common_CPP/crypto/hmac.h"

namespace {

struct FreeMac {
  void operator()(EVP_MAC* mac) const { EVP_MAC_free(mac); }
  void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }  // wipes what it has of the key
};

using Context = std::unique_ptr<EVP_MAC_CTX, FreeMac>;

/// The method and its digest, found by their names, and a key that is nobody's: the library copies none without one.
Context PrepareHmac() {
  const std::unique_ptr<EVP_MAC, FreeMac> mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
  if (mac == nullptr) throw std::bad_alloc();  // every provider has it, that of approved algorithms too
  Context context(EVP_MAC_CTX_new(mac.get()));
  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                   OSSL_PARAM_construct_end()};
  constexpr unsigned char kNobodysKey[32] = {};
  if (context == nullptr || EVP_MAC_init(context.get(), kNobodysKey, sizeof(kNobodysKey), parameters) != 1) {
    throw std::bad_alloc();
  }
  return context;
}

/// One to be given a key. To look the method up costs more than a small record's digest, so that it is done once; what
/// was found is never given back: at the end of a process its other threads may still ask.
Context NewHmac() {
  static const EVP_MAC_CTX* const prepared = PrepareHmac().release();
  Context context(EVP_MAC_CTX_dup(prepared));
  if (context == nullptr) throw std::bad_alloc();
  return context;
}

}  // namespace

std::optional<KxHmacBytes> KxHmac_Sha256(std::span<const unsigned char> key,
                                         std::initializer_list<std::span<const unsigned char>> pieces) {
  if (key.empty()) return std::nullopt;
  const Context context = NewHmac();
  if (EVP_MAC_init(context.get(), key.data(), key.size(), nullptr) != 1) throw std::bad_alloc();
  for (const std::span<const unsigned char> piece : pieces) {
    if (EVP_MAC_update(context.get(), piece.data(), piece.size()) != 1) return std::nullopt;
  }
  KxHmacBytes bytes{};
  size_t size = 0;
  const bool done = EVP_MAC_final(context.get(), bytes.data(), &size, bytes.size()) == 1 && size == bytes.size();
  return done ? std::optional(bytes) : std::nullopt;
}
