// Whether a certificate leads to a trusted root, for a use and at a time.
#pragma once

#include "Common_CPP/signature/openssl_posix.h"
#include "Common_CPP/signature/signer.h"
#include "Common_CPP/signature/trust_store.h"

/// The first that holds, in this order.
enum class EkxChainVerdict { Bad, Revoked, UntrustedRoot, Expired, Weak, Good };

/// An image is signed by who may sign code, with no MD5 or SHA-1 on the way from the root: that would be `Weak`.
enum class EkxCertificateUse { SignCode, SignImage, SignTime };

/// `others` may help on the way and are trusted for nothing; may be null. `when`: seconds since 1970, UTC.
EkxChainVerdict KxChain_Judge(X509* certificate, STACK_OF(X509) * others, const CkxTrustStore& trust, time_t when,
                              EkxCertificateUse use);

/// A signature that holds, by a certificate of that verdict.
EkxPublisherStatus KxChain_Status(EkxChainVerdict verdict);

/// The common name of the certificate's subject, else its organization; empty when it has neither, or one with a NUL.
KxWString KxCertificate_Name(X509* certificate);
