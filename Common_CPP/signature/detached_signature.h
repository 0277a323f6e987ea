// Signatures that lie apart from what they sign: a PKCS #7 (CMS) message in DER, of one signer, without the content in
// it, as `openssl cms -sign -binary -outform DER` makes them.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Common_CPP/signature/signer.h"
#include "Common_CPP/signature/trust_store.h"

/// Who signed `content`, and whether that holds now. `Invalid` also for a message that is none, that has a content of
/// its own, or more than one signer. There is no timestamp here: a signature holds as long as its certificate does.
SkxSigner KxDetachedSignature_Look(std::span<const unsigned char> message, std::span<const unsigned char> content,
                                   const CkxTrustStore& trust);

/// PEM: a private key that is not encrypted, of RSA or a curve of NIST; the signer's certificate, and behind it those
/// who vouch for it. Nothing, with `error` saying what is wrong.
std::optional<std::vector<unsigned char>> KxDetachedSignature_Make(std::span<const unsigned char> content,
                                                                   std::span<const unsigned char> key,
                                                                   std::span<const unsigned char> certificates,
                                                                   std::string& error);
