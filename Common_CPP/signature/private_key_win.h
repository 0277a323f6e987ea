// Private keys of PEM files, and signatures by them. A key lies in this process alone, for as long as it signs: none of
// the system's stores, and no process that keeps keys for others, ever has it.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Common_CPP/signature/secret_bytes_win.h"
#include "Common_CPP/signature/trust_functions_win.h"

struct SkxPrivateKey {
  std::string algorithm;  ///< the object identifier of its kind, as in a certificate
  KxSecretBytes bytes;    ///< as that kind has them, in DER
};

enum class EkxSigning : unsigned char {
  Signed,
  NotOfCertificate,  ///< the certificate is of another key
  UnknownKind        ///< the system does not sign by a key like that
};

/// The first one in the text: PKCS #8, or as RSA (PKCS #1) and curves (SEC 1) have their own. Nothing when there is
/// none, or it is encrypted.
std::optional<SkxPrivateKey> KxPrivateKey_FromPem(std::span<const unsigned char> text);

/// `signature`: of a SHA-256, and such that it holds by the certificate. RSA (PKCS #1 1.5): its bytes; ECDSA: both
/// numbers, of the same size, most significant byte first.
EkxSigning KxPrivateKey_Sign(const SkxPrivateKey& key, PCCERT_CONTEXT certificate,
                             std::span<const unsigned char> digest, std::vector<unsigned char>& signature);
