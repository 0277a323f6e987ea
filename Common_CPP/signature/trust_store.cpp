#include "Common_CPP/signature/trust_store.h"

const CkxThreadPointer<const CkxTrustStore>& CkxTrustStore::Pointer() {
  static const CkxThreadPointer<const CkxTrustStore> pointer;
  return pointer;
}

const CkxTrustStore* CkxTrustStore::Current() { return Pointer().Get(); }
