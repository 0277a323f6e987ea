#include "Common_CPP/signature/trust_store_win.h"

#include <new>
#include <vector>

#include "Common_CPP/file/file.h"
#include "Common_CPP/file/files_of.h"
#include "Common_CPP/signature/pem_win.h"

namespace {

constexpr uint64_t kMaxStoreBytes = 16 * 1024 * 1024;
/// One certificate, or one list of those that were revoked.
bool AddOne(HCERTSTORE store, const SkxPemBlock& block) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const bool isRevocations = block.label == "X509 CRL";
  if (!isRevocations && block.label != "CERTIFICATE") return false;
  const auto bytes = KxPem_Decoded<std::vector<BYTE>>(block.body);
  const DWORD size = static_cast<DWORD>(bytes.size());
  return isRevocations
             ? system.addRevoked(store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING, nullptr)
             : system.addToStore(store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING,
                                 nullptr);
}

bool AddFile(HCERTSTORE store, CkxTextView path) {
  if (store == nullptr) return false;
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(path, kMaxStoreBytes);
  if (!bytes) return false;
  std::string_view rest = KxPem_Text(*bytes);
  bool found = false;
  while (const std::optional<SkxPemBlock> block = KxPem_Next(rest)) found = AddOne(store, *block) || found;
  return found;
}

}  // namespace

CkxTrustStore::State::State(EkxTrustRoots whose) : roots(whose) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  if (!system.AreThere()) return;
  added = system.openStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr);
  if (added == nullptr) throw std::bad_alloc();
}

CkxTrustStore::State::~State() {
  if (added != nullptr) SkxTrustFunctions::Get().closeStore(added, 0);
}

CkxTrustStore::CkxTrustStore(EkxTrustRoots roots) : _state(std::make_unique<State>(roots)) {}
CkxTrustStore::~CkxTrustStore() = default;

bool CkxTrustStore::Add(CkxTextView path) {
  bool found = false;
  const bool isRead = KxFile_ForEach(path, [&](CkxTextView file) { found = AddFile(_state->added, file) || found; });
  return isRead && found;
}

bool CkxTrustStore::AddCatalogs(CkxTextView /*path*/) { return false; }
