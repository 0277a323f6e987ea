// Owners of the objects of libcrypto, each named after what it holds.
#pragma once

#include <openssl/err.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <new>

template <auto FreeObject>
struct CkxOpensslFree {
  template <class Object>
  void operator()(Object* object) const {
    FreeObject(object);
  }
};

template <class Object, auto FreeObject>
using CkxOpensslPtr = std::unique_ptr<Object, CkxOpensslFree<FreeObject>>;

using CkxBio = CkxOpensslPtr<BIO, BIO_free_all>;
using CkxPkcs7 = CkxOpensslPtr<PKCS7, PKCS7_free>;
using CkxSignerInfo = CkxOpensslPtr<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free>;
using CkxTstInfo = CkxOpensslPtr<TS_TST_INFO, TS_TST_INFO_free>;
using CkxX509Store = CkxOpensslPtr<X509_STORE, X509_STORE_free>;
using CkxX509StoreContext = CkxOpensslPtr<X509_STORE_CTX, X509_STORE_CTX_free>;

/// What the library could not make for want of memory; any other failure is an answer.
template <class Object>
Object KxOpenssl_NotNull(Object object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

/// Whatever the calls of a scope left in the thread's queue of errors is gone when it ends.
class CkxOpensslErrors {
 public:
  CkxOpensslErrors() { ERR_set_mark(); }
  ~CkxOpensslErrors() { ERR_pop_to_mark(); }
  CkxOpensslErrors(const CkxOpensslErrors&) = delete;
  CkxOpensslErrors& operator=(const CkxOpensslErrors&) = delete;

  /// Throws std::bad_alloc when memory is what the last call lacked.
  static void Check() {
    if (ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE) throw std::bad_alloc();
  }
};
