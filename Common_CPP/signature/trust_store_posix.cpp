#include "Common_CPP/signature/trust_store_posix.h"

#include <openssl/pem.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/file/files_of.h"

namespace {

constexpr uint64_t kMaxStoreBytes = 16 * 1024 * 1024;  // the system's own bundle has a quarter of a megabyte

void FreeInfos(STACK_OF(X509_INFO) * infos) { sk_X509_INFO_pop_free(infos, X509_INFO_free); }
using CkxInfos = CkxOpensslPtr<STACK_OF(X509_INFO), FreeInfos>;

bool AddFile(X509_STORE* store, CkxTextView path) {
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(path, kMaxStoreBytes);
  if (!bytes) return false;
  const CkxBio text(KxOpenssl_NotNull(BIO_new_mem_buf(bytes->data(), static_cast<int>(bytes->size()))));
  const CkxInfos infos(PEM_X509_INFO_read_bio(text.get(), nullptr, nullptr, nullptr));
  bool found = false;
  for (int i = 0; infos != nullptr && i < sk_X509_INFO_num(infos.get()); ++i) {
    const X509_INFO* const info = sk_X509_INFO_value(infos.get(), i);
    found = (info->x509 != nullptr && X509_STORE_add_cert(store, info->x509) == 1) || found;
    found = (info->crl != nullptr && X509_STORE_add_crl(store, info->crl) == 1) || found;
  }
  return found;
}

/// The library's default paths would also list the whole folder of roots for each certificate that is asked about.
/// Without any, nobody is trusted.
void AddRootsOfSystem(X509_STORE* store) {
  X509_LOOKUP* const bundle = X509_STORE_add_lookup(store, X509_LOOKUP_file());
  if (bundle != nullptr) X509_LOOKUP_load_file(bundle, nullptr, X509_FILETYPE_DEFAULT);
  X509_LOOKUP* const byName = X509_STORE_add_lookup(store, X509_LOOKUP_hash_dir());
  if (byName != nullptr) X509_LOOKUP_add_dir(byName, nullptr, X509_FILETYPE_DEFAULT);
}

}  // namespace

CkxTrustStore::CkxTrustStore(EkxTrustRoots roots) : _state(std::make_unique<State>()) {
  const CkxOpensslErrors errors;
  _state->store.reset(KxOpenssl_NotNull(X509_STORE_new()));
  if (roots == EkxTrustRoots::Systems) AddRootsOfSystem(_state->store.get());
  CkxOpensslErrors::Check();
}

CkxTrustStore::~CkxTrustStore() = default;

bool CkxTrustStore::Add(CkxTextView path) {
  const CkxOpensslErrors errors;
  bool found = false;
  const bool isRead =
      KxFile_ForEach(path, [&](CkxTextView file) { found = AddFile(_state->store.get(), file) || found; });
  return isRead && found;
}

bool CkxTrustStore::AddCatalogs(CkxTextView path) {
  const CkxOpensslErrors errors;
  return _state->catalogs.Add(path);
}
