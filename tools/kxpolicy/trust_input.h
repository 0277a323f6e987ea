// Whose signatures count for the run of a verb: the system's roots and those of --trust-store.
#pragma once

#include <string>
#include <vector>

#include "Common_CPP/signature/trust_store.h"

class CkxTrustInput {
 public:
  /// Each a file or a folder. Throws CkxToolFault, unusable input, for one that has no certificates.
  explicit CkxTrustInput(const std::vector<std::string>& stores);

 private:
  CkxTrustStore _store;
  const CkxTrustScope _scope;
};
