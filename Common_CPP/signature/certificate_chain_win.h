// Whether a certificate leads to a trusted root at a time, and may sign what runs, as the system judges it.
#pragma once

#include "Common_CPP/signature/signer.h"
#include "Common_CPP/signature/trust_functions_win.h"

class CkxTrustStore;

/// An image is signed by who may sign code, with no MD5 or SHA-1 on the way from the root.
enum class EkxCertificateUse { SignCode, SignImage };

/// A signature that holds, by that certificate; those in its store may help on the way. `trust`, which may be null, has
/// roots beside the system's, or instead of them, and lists of revoked certificates.
EkxPublisherStatus KxChain_Judge(PCCERT_CONTEXT certificate, const CkxTrustStore* trust, FILETIME when,
                                 EkxCertificateUse use);
