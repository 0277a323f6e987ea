// Whose signatures count for the run of a verb: the system's roots and those of --trust-store, and the catalogs of
// --catalogs.
#pragma once

#include <string>
#include <vector>

#include "Common_CPP/signature/trust_store.h"

class CkxTrustInput {
 public:
  /// Each a file or a folder. Throws CkxToolFault, unusable input, for one that has no certificates or catalogs.
  CkxTrustInput(const std::vector<std::string>& stores, const std::vector<std::string>& catalogs);

 private:
  CkxTrustStore _store;
  const CkxTrustScope _scope;
};
