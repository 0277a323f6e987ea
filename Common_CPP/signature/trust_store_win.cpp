#include "Common_CPP/signature/trust_store_win.h"

#include <filesystem>
#include <new>
#include <string_view>
#include <vector>

#include "Common_CPP/file/file.h"

namespace {

constexpr uint64_t kMaxBytes = 16 * 1024 * 1024;
constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";

/// One certificate, from its first mark to its last.
bool AddOne(HCERTSTORE store, std::string_view text) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  DWORD size = 0;
  const auto decode = [&](BYTE* bytes) {
    return system.fromText(text.data(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64HEADER, bytes, &size,
                           nullptr, nullptr);
  };
  if (!decode(nullptr)) return false;
  std::vector<BYTE> bytes(size);
  return decode(bytes.data()) &&
         system.addToStore(store, X509_ASN_ENCODING, bytes.data(), size, CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
}

bool AddFile(HCERTSTORE store, CkxTextView path) {
  const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(path, kMaxBytes);
  if (!bytes) return false;
  const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  bool found = false;
  for (size_t begin = text.find(kBegin); begin != text.npos; begin = text.find(kBegin, begin + 1)) {
    const size_t end = text.find(kEnd, begin);
    if (end == text.npos) break;
    found = AddOne(store, text.substr(begin, end + kEnd.size() - begin)) || found;
  }
  return found;
}

}  // namespace

CkxTrustStore::State::State() {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  if (!system.AreThere()) return;
  added = system.openStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr);
  if (added == nullptr) throw std::bad_alloc();
}

CkxTrustStore::State::~State() {
  if (added != nullptr) SkxTrustFunctions::Get().closeStore(added, 0);
}

CkxTrustStore::CkxTrustStore() : _state(std::make_unique<State>()) {}
CkxTrustStore::~CkxTrustStore() = default;

bool CkxTrustStore::Add(CkxTextView path) {
  if (_state->added == nullptr) return false;
  const std::filesystem::path native = path.ToString();
  std::error_code error;
  if (!std::filesystem::is_directory(native, error)) return AddFile(_state->added, path);
  bool found = false;
  for (std::filesystem::directory_iterator entry(native, error), end; !error && entry != end; entry.increment(error)) {
    found = AddFile(_state->added, entry->path().native()) || found;
  }
  return found && !error;
}
