// The certificates behind a trust store, as the system keeps them.
#pragma once

#include <memory>

#include "Common_CPP/signature/trust_functions_win.h"
#include "Common_CPP/signature/trust_store.h"

struct CkxTrustStore::State {
  HCERTSTORE added = nullptr;  ///< what was added; the system knows its own

  const EkxTrustRoots roots;

  explicit State(EkxTrustRoots roots);
  ~State();
  State(const State&) = delete;
  State& operator=(const State&) = delete;
};
