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

}  // namespace

std::optional<KxHmacBytes> KxHmac_Sha256(std::span<const unsigned char> key,
                                         std::initializer_list<std::span<const unsigned char>> pieces) {
  if (key.empty()) return std::nullopt;
  const std::unique_ptr<EVP_MAC, FreeMac> mac(EVP_MAC_fetch(nullptr, OSSL_MAC_NAME_HMAC, nullptr));
  if (mac == nullptr) throw std::bad_alloc();  // every provider has it, that of approved algorithms too
  const std::unique_ptr<EVP_MAC_CTX, FreeMac> context(EVP_MAC_CTX_new(mac.get()));
  if (context == nullptr) throw std::bad_alloc();

  char digest[] = "SHA256";
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0),
                                   OSSL_PARAM_construct_end()};
  if (EVP_MAC_init(context.get(), key.data(), key.size(), parameters) != 1) throw std::bad_alloc();
  for (const std::span<const unsigned char> piece : pieces) {
    if (EVP_MAC_update(context.get(), piece.data(), piece.size()) != 1) return std::nullopt;
  }
  KxHmacBytes bytes{};
  size_t size = 0;
  const bool done = EVP_MAC_final(context.get(), bytes.data(), &size, bytes.size()) == 1 && size == bytes.size();
  return done ? std::optional(bytes) : std::nullopt;
}
