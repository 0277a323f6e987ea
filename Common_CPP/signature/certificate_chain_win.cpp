#include "Common_CPP/signature/certificate_chain_win.h"

#include <new>

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

}  // namespace

EkxPublisherStatus KxChain_Judge(PCCERT_CONTEXT certificate, const CkxTrustStore* trust, FILETIME when) {
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
  return (faults & kExpired) != 0 ? EkxPublisherStatus::Expired : EkxPublisherStatus::Valid;
}
