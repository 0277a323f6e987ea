// Who vouches for an image: a signature (image.p7s) over its manifest, and so over the name and the bytes of each of
// its files. What is verified is the image in memory, which is what is published then: nothing is read a second time.
//
// It does not say which of two images is the newer: an older one that was signed as well holds as long as its
// certificate does.
#pragma once

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Common_CPP/signature/detached_signature.h"

/// `Unsigned` without a signature.
SkxSigner KxImageSignature_Look(const SkxPolicyImage& image, const CkxTrustStore& trust);

/// Why an image of that signer is not to be believed; empty for a signature that holds. An `expectedSigner` that is not
/// empty is compared to the letter.
std::string KxImageSignature_Fault(const SkxSigner& signer, CkxTextView expectedSigner);

/// Puts a signature into `image`. Key and certificates as for `KxDetachedSignature_Make`; false with `error` likewise.
bool KxImageSignature_Sign(SkxPolicyImage& image, std::span<const unsigned char> key,
                           std::span<const unsigned char> certificates, std::string& error);
