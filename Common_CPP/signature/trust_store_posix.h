// The certificates behind a trust store, as libcrypto keeps them.
#pragma once

#include "Common_CPP/signature/catalogs_posix.h"
#include "Common_CPP/signature/openssl_posix.h"
#include "Common_CPP/signature/trust_store.h"

struct CkxTrustStore::State {
  CkxX509Store store;
  CkxCatalogs catalogs;
};
