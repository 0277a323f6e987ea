#include "Common_CPP/signature/certificate_chain_win.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "Common_CPP/signature/trust_store_win.h"

namespace {

/// Whether the last certificate of `chain` is a root that a caller has added.
bool EndsAtAddedRoot(const CERT_CHAIN_CONTEXT& chain, HCERTSTORE added) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  if (added == nullptr || chain.cChain == 0 || chain.rgpChain[0]->cElement == 0) return false;
  const CERT_SIMPLE_CHAIN& simple = *chain.rgpChain[0];
  const PCCERT_CONTEXT root = simple.rgpElement[simple.cElement - 1]->pCertContext;
  const CkxTrustObject found(system.findInStore(added, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, root, nullptr),
                             [&](PCCERT_CONTEXT certificate) { system.freeCertificate(certificate); });
  return static_cast<bool>(found);
}

/// Of a signature whose algorithm is told beside it, in DER: SEQUENCE { [0] { SEQUENCE { OBJECT, ... } } ... }, where
/// the object is that of a SHA-2. SHA-1 where nothing is told.
bool IsPssStrong(const CRYPT_OBJID_BLOB& parameters) {
  constexpr unsigned char kSha2[] = {0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02};
  constexpr size_t kHeads = 6;  // of the three around it, a byte of size each
  constexpr size_t kLast = kHeads + sizeof(kSha2);
  if (parameters.cbData <= kLast || parameters.pbData[2] != 0xA0) return false;
  if (std::memcmp(parameters.pbData + kHeads, kSha2, sizeof(kSha2)) != 0) return false;
  return parameters.pbData[kLast] >= 1 && parameters.pbData[kLast] <= 3;  // 256, 384, 512
}

/// By an algorithm that is known, and not broken.
bool IsSignedStrongly(const CERT_CONTEXT& certificate) {
  constexpr std::string_view kStrong[] = {szOID_RSA_SHA256RSA, szOID_RSA_SHA384RSA, szOID_RSA_SHA512RSA,
                                          szOID_ECDSA_SHA256,  szOID_ECDSA_SHA384,  szOID_ECDSA_SHA512};
  const CRYPT_ALGORITHM_IDENTIFIER& algorithm = certificate.pCertInfo->SignatureAlgorithm;
  const std::string_view name = algorithm.pszObjId;
  if (name == szOID_RSA_SSA_PSS) return IsPssStrong(algorithm.Parameters);
  return std::find(std::begin(kStrong), std::end(kStrong), name) != std::end(kStrong);
}

/// But for the root's own signature, which convinces nobody.
bool IsWholeChainStrong(const CERT_CHAIN_CONTEXT& chain) {
  const CERT_SIMPLE_CHAIN& simple = *chain.rgpChain[0];
  for (DWORD i = 0; i + 1 < simple.cElement; ++i) {
    if (!IsSignedStrongly(*simple.rgpElement[i]->pCertContext)) return false;
  }
  return true;
}

}  // namespace

EkxPublisherStatus KxChain_Judge(PCCERT_CONTEXT certificate, const CkxTrustStore* trust, FILETIME when,
                                 EkxCertificateUse use) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const HCERTSTORE added = trust != nullptr ? trust->Get().added : nullptr;
  const CkxTrustObject stores(system.openStore(CERT_STORE_PROV_COLLECTION, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr),
                              [&](HCERTSTORE store) { system.closeStore(store, 0); });
  if (!stores || !system.addStore(stores.Get(), certificate->hCertStore, 0, 0)) throw std::bad_alloc();
  if (added != nullptr && !system.addStore(stores.Get(), added, 0, 0)) throw std::bad_alloc();

  char codeSigning[] = szOID_PKIX_KP_CODE_SIGNING;
  LPSTR usage = codeSigning;
  CERT_CHAIN_PARA parameters{};
  parameters.cbSize = sizeof(parameters);
  parameters.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
  parameters.RequestedUsage.Usage = {1, &usage};
  constexpr DWORD kFlags = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY |
                           CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL;
  PCCERT_CHAIN_CONTEXT built = nullptr;
  if (!system.chainOf(nullptr, certificate, &when, stores.Get(), &parameters, kFlags, nullptr, &built)) {
    return EkxPublisherStatus::Invalid;
  }
  const CkxTrustObject chain(built, [&](PCCERT_CHAIN_CONTEXT context) { system.freeChain(context); });

  DWORD faults = built->TrustStatus.dwErrorStatus &
                 ~DWORD{CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION};
  if (EndsAtAddedRoot(*built, added)) {
    faults &= ~DWORD{CERT_TRUST_IS_UNTRUSTED_ROOT};
  } else if (trust != nullptr && trust->Get().roots == EkxTrustRoots::AddedAlone) {
    faults |= CERT_TRUST_IS_UNTRUSTED_ROOT;
  }
  constexpr DWORD kUntrusted = CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_PARTIAL_CHAIN;
  constexpr DWORD kExpired = CERT_TRUST_IS_NOT_TIME_VALID;
  if ((faults & ~(kUntrusted | kExpired | DWORD{CERT_TRUST_IS_REVOKED})) != 0) return EkxPublisherStatus::Invalid;
  if ((faults & CERT_TRUST_IS_REVOKED) != 0) return EkxPublisherStatus::Revoked;
  if ((faults & kUntrusted) != 0) return EkxPublisherStatus::UntrustedRoot;
  if ((faults & kExpired) != 0) return EkxPublisherStatus::Expired;
  const bool isWeak = use == EkxCertificateUse::SignImage && !IsWholeChainStrong(*built);
  return isWeak ? EkxPublisherStatus::ValidByWeakDigest : EkxPublisherStatus::Valid;
}
