#include "Common_CPP/signature/trust_store_win.h"

#include <algorithm>
#include <new>
#include <string_view>
#include <vector>

#include "Common_CPP/file/file.h"
#include "Common_CPP/file/files_of.h"

namespace {

constexpr uint64_t kMaxStoreBytes = 16 * 1024 * 1024;
constexpr std::string_view kCertificate = "CERTIFICATE-----";
constexpr std::string_view kRevocations = "X509 CRL-----";
constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";

/// One certificate, or one list of those that were revoked, from its first mark to its last.
bool AddOne(HCERTSTORE store, std::string_view text) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const bool isRevocations = text.substr(kBegin.size()).starts_with(kRevocations);
  if (!isRevocations && !text.substr(kBegin.size()).starts_with(kCertificate)) return false;
  DWORD size = 0;
  const auto decode = [&](BYTE* bytes) {
    const DWORD form = isRevocations ? CRYPT_STRING_BASE64X509CRLHEADER : CRYPT_STRING_BASE64HEADER;
    return system.fromText(text.data(), static_cast<DWORD>(text.size()), form, bytes, &size, nullptr, nullptr);
  };
  if (!decode(nullptr)) return false;
  std::vector<BYTE> bytes(size);
  if (!decode(bytes.data())) return false;
  return isRevocations
             ? system.addRevoked(store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING, nullptr)
             : system.addToStore(store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING,
                                 nullptr);
}

bool AddFile(HCERTSTORE store, CkxTextView path) {
  if (store == nullptr) return false;
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(path, kMaxStoreBytes);
  if (!bytes) return false;
  const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  bool found = false;
  for (size_t begin = text.find(kBegin); begin != text.npos; begin = text.find(kBegin, begin + 1)) {
    const size_t endMark = text.find(kEnd, begin);
    if (endMark == text.npos) break;
    const size_t end = std::min(text.find('\n', endMark), text.size());
    found = AddOne(store, text.substr(begin, end - begin)) || found;
  }
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
