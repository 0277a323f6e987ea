// Catalogs from arbitrary bytes: none is believed, whatever it lists.
#include <cstdlib>

#include "Common_CPP/signature/catalogs_posix.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const CkxTrustStore systems;
  CkxCatalogs catalogs;
  if (!catalogs.AddBytes({data, size})) return 0;
  for (const EkxHashAlgorithm algorithm : catalogs.OfMembers()) {
    const CkxSignedMessage* const catalog = catalogs.With(algorithm, std::vector<unsigned char>(32));
    if (catalog != nullptr && catalog->Judge(systems, 1'700'000'000) == EkxPublisherStatus::Valid) std::abort();
  }
  return 0;
}
