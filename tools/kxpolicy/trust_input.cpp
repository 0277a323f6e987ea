#include "tools/kxpolicy/trust_input.h"

#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

CkxTrustInput::CkxTrustInput(const std::vector<std::string>& stores, const std::vector<std::string>& catalogs)
    : _scope(_store) {
  for (const std::string& store : stores) {
    const std::optional<KxWString> path = KxText_FromUtf8(store);
    if (!path || !_store.Add(*path)) {
      throw CkxToolFault(EkxExit::UnusableInput, store + ": has no certificates that can be read");
    }
  }
  for (const std::string& folder : catalogs) {
    const std::optional<KxWString> path = KxText_FromUtf8(folder);
    if (!path || !_store.AddCatalogs(*path)) {
      throw CkxToolFault(EkxExit::UnusableInput, folder + ": has no catalogs that can be read");
    }
  }
}
