#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/host_name.h"

std::optional<KxWString> KxHost_NetBiosName() {
  WCHAR name[kKxHostNameUnits];
  DWORD units = kKxHostNameUnits;
  if (GetComputerNameExW(ComputerNameNetBIOS, name, &units) == 0) return std::nullopt;
  return KxWString(name, units);
}

KxWString KxHost_UserLanguage() {
  ULONG count = 0;
  ULONG units = 0;
  if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &units) == 0 || units == 0) return {};
  KxWString languages(units, WCHAR{});
  if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, languages.data(), &units) == 0) return {};
  return languages.substr(0, languages.find(WCHAR{}));  // the first: what the user likes best
}
