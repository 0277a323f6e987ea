// Signatures of images from arbitrary bytes: whatever they say, nothing outside of them is read, and nobody is believed
// to have signed.
#include <cstdlib>

#include "Agent/engine/kx_publish/image/image_signature.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const CkxTrustStore nobody(EkxTrustRoots::AddedAlone);
  SkxPolicyImage image;
  image.applicable = "{}";
  image.signature.emplace(data, data + size);
  const SkxSigner signer = KxImageSignature_Look(image, nobody);
  const bool isBelieved = KxImageSignature_Fault(signer, CkxTextView()).empty();
  if (isBelieved || signer.status == EkxPublisherStatus::ValidByWeakDigest) std::abort();
  return 0;
}
