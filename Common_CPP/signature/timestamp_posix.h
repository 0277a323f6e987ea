// When a signature was made, as somebody whom the system trusts with that has signed in turn.
#pragma once

#include <ctime>
#include <optional>

#include "Common_CPP/signature/openssl_posix.h"
#include "Common_CPP/signature/trust_store.h"

struct SkxTimedSignature {
  PKCS7* message;
  PKCS7_SIGNER_INFO* signer;
};

/// Seconds since 1970, UTC; nothing when nobody says so whose certificate was good at that time, or it is after `now`.
std::optional<time_t> KxTimestamp_Prove(const SkxTimedSignature& signature, const CkxTrustStore& trust, time_t now);
