#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

namespace {

bool Succeeded(LSTATUS status) {
  if (status == ERROR_SUCCESS) return true;
  SetLastError(static_cast<DWORD>(status));
  return false;
}

/// A NUL in a name would end it, so that it names another.
bool IsName(CkxTextView text) {
  if (KxWStringView(text.ToString()).find(WCHAR{}) == KxWStringView::npos) return true;
  return Succeeded(ERROR_INVALID_PARAMETER);
}

class CkxKey {
 public:
  CkxKey() = default;
  CkxKey(const CkxKey&) = delete;
  CkxKey& operator=(const CkxKey&) = delete;
  ~CkxKey() {
    const CkxLastErrorGuard guard;
    if (_key != nullptr) RegCloseKey(_key);
  }

  bool Open(CkxTextView key, REGSAM rights) {
    return IsName(key) &&
           Succeeded(RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.ToString().c_str(), 0, rights | KEY_WOW64_64KEY, &_key));
  }
  bool Create(CkxTextView key) {
    return IsName(key) && Succeeded(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.ToString().c_str(), 0, nullptr, 0,
                                                    KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &_key, nullptr));
  }
  HKEY Get() const { return _key; }

 private:
  HKEY _key = nullptr;
};

bool Set(CkxTextView key, CkxTextView value, DWORD type, const void* bytes, size_t size) {
  CkxKey opened;
  return IsName(value) && opened.Create(key) &&
         Succeeded(RegSetValueExW(opened.Get(), value.ToString().c_str(), 0, type, static_cast<const BYTE*>(bytes),
                                  static_cast<DWORD>(size)));
}

}  // namespace

std::optional<KxWString> KxRegistry_Text(CkxTextView key, CkxTextView value, EkxRegistryView view) {
  if (!IsName(key) || !IsName(value)) return std::nullopt;
  const DWORD flags = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND |
                      (view == EkxRegistryView::Own ? RRF_SUBKEY_WOW6464KEY : RRF_SUBKEY_WOW6432KEY);
  const KxWString path = key.ToString();
  const KxWString name = value.ToString();
  DWORD bytes = 256 * sizeof(WCHAR);
  KxWString text;
  LSTATUS status = ERROR_MORE_DATA;
  for (int tries = 0; status == ERROR_MORE_DATA && tries < 8; ++tries) {  // it may grow between two looks
    text.resize(bytes / sizeof(WCHAR) + 1);
    bytes = static_cast<DWORD>(text.size() * sizeof(WCHAR));
    status = RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name.c_str(), flags, nullptr, text.data(), &bytes);
  }
  if (!Succeeded(status)) return std::nullopt;
  text.resize(bytes / sizeof(WCHAR));
  return text.substr(0, text.find(WCHAR{}));
}

std::optional<uint32_t> KxRegistry_Number(CkxTextView key, CkxTextView value) {
  if (!IsName(key) || !IsName(value)) return std::nullopt;
  DWORD number = 0;
  DWORD bytes = sizeof(number);
  if (!Succeeded(RegGetValueW(HKEY_LOCAL_MACHINE, key.ToString().c_str(), value.ToString().c_str(),
                              RRF_RT_REG_DWORD | RRF_SUBKEY_WOW6464KEY, nullptr, &number, &bytes))) {
    return std::nullopt;
  }
  return number;
}

bool KxRegistry_SetText(CkxTextView key, CkxTextView value, CkxTextView text) {
  const KxWString stored = text.ToString();
  return Set(key, value, REG_SZ, stored.c_str(), (stored.size() + 1) * sizeof(WCHAR));
}

bool KxRegistry_SetNumber(CkxTextView key, CkxTextView value, uint32_t number) {
  return Set(key, value, REG_DWORD, &number, sizeof(number));
}

bool KxRegistry_Remove(CkxTextView key, CkxTextView value) {
  CkxKey opened;
  if (!IsName(value)) return false;
  if (!opened.Open(key, KEY_SET_VALUE)) return GetLastError() == ERROR_FILE_NOT_FOUND;
  const LSTATUS status = RegDeleteValueW(opened.Get(), value.ToString().c_str());
  return status == ERROR_FILE_NOT_FOUND || Succeeded(status);
}
