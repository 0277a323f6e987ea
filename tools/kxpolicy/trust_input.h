// Whose signatures count for the run of a verb: the system's roots and those of --trust-store, and the catalogs of
// --catalogs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Common_CPP/signature/trust_store.h"
#include "tools/kxpolicy/options.h"

/// Each a file or a folder.
struct SkxTrustOptions {
  std::vector<std::string> stores;
  std::vector<std::string> catalogs;

  /// `this` outlives the verb.
  void AddTo(const CkxVerbOptions& verb);
};

class CkxTrustInput {
 public:
  /// Throws CkxToolFault, unusable input, for one that has no certificates or catalogs.
  explicit CkxTrustInput(const SkxTrustOptions& options);

 private:
  // None when nothing is added: the system's roots are read by who first needs them.
  std::optional<CkxTrustStore> _store;
  std::optional<CkxTrustScope> _scope;
};
