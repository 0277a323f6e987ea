#include "Agent/engine/kx_publish/image/image_signature.h"

#include "Agent/engine/kx_publish/image/image_manifest.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

std::span<const unsigned char> ManifestBytes(const std::string& manifest) {
  return {reinterpret_cast<const unsigned char*>(manifest.data()), manifest.size()};
}

}  // namespace

SkxSigner KxImageSignature_Look(const SkxPolicyImage& image, const CkxTrustStore& trust) {
  if (!image.signature) return {KxWString(), EkxPublisherStatus::Unsigned};
  const std::optional<std::string> manifest = KxImageManifest_Of(image);
  if (!manifest) return {};
  return KxDetachedSignature_Look(*image.signature, ManifestBytes(*manifest), trust);
}

std::string KxImageSignature_Fault(const SkxSigner& signer, CkxTextView expectedSigner) {
  const std::string name = KxText_PrintableQuoted(KxText_ToUtf8(signer.name));
  switch (signer.status) {
    case EkxPublisherStatus::Valid:
      if (expectedSigner.IsEmpty() || KxText_Equals(signer.name, expectedSigner, true)) return "";
      return "is signed by " + name + ", who is not expected";
    case EkxPublisherStatus::Unsigned:
      return "is missing: the image is not signed";
    case EkxPublisherStatus::UntrustedRoot:
      return "is by " + name + ", whose certificate leads to no root that counts";
    case EkxPublisherStatus::Expired:
      return "is by " + name + ", whose certificate is not valid now";
    case EkxPublisherStatus::Revoked:
      return "is by " + name + ", whose certificate was revoked";
    case EkxPublisherStatus::ValidByWeakDigest:
      return "is by a digest that can be forged";
    default:
      return "does not hold for the files of this image";
  }
}

bool KxImageSignature_Sign(SkxPolicyImage& image, std::span<const unsigned char> key,
                           std::span<const unsigned char> certificates, std::string& error) {
  const std::optional<std::string> manifest = KxImageManifest_Of(image);
  error = "this system has no SHA-256";
  if (!manifest) return false;
  image.signature = KxDetachedSignature_Make(ManifestBytes(*manifest), key, certificates, error);
  return image.signature.has_value();
}
