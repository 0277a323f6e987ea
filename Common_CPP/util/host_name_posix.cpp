#include "Common_CPP/util/host_name.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "Common_CPP/util/text.h"

std::optional<KxWString> KxHost_NetBiosName() {
  constexpr size_t kNetBiosUnits = 15;
  char host[kKxHostNameUnits] = {};
  if (gethostname(host, sizeof(host) - 1) != 0) return std::nullopt;
  std::optional<KxWString> name = KxText_FromUtf8(std::string_view(host).substr(0, std::string_view(host).find('.')));
  if (!name) return std::nullopt;
  name->resize(std::min(name->size(), kNetBiosUnits));
  std::transform(name->begin(), name->end(), name->begin(), KxText_Fold);
  return name;
}

KxWString KxHost_UserLanguage() {
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value == 0) continue;
    std::string language = value;  // "de_CH.UTF-8@euro"
    language.resize(std::min(language.find_first_of(".@"), language.size()));
    std::replace(language.begin(), language.end(), '_', '-');
    return language != "C" && language != "POSIX" ? KxText_FromUtf8(language).value_or(KxWString()) : KxWString();
  }
  return {};
}
