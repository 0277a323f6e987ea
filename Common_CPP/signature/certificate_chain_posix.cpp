#include "Common_CPP/signature/certificate_chain_posix.h"

#include "Common_CPP/signature/trust_store_posix.h"
#include "Common_CPP/util/text.h"

namespace {

/// What stood against a chain, all of it: the library is told to go on.
struct SkxChainFaults {
  time_t when;
  bool isBad = false;
  bool isRevoked = false;
  bool isUntrusted = false;
  bool isExpired = false;
  bool isWeak = false;
};

/// A signature from before the certificate was revoked holds, where its time is proven.
bool WasRevokedBefore(X509_STORE_CTX* context, time_t when) {
  X509_REVOKED* revoked = nullptr;
  X509_CRL* const list = X509_STORE_CTX_get0_current_crl(context);
  X509* const certificate = X509_STORE_CTX_get_current_cert(context);
  if (list == nullptr || certificate == nullptr || X509_CRL_get0_by_cert(list, &revoked, certificate) == 0) return true;
  return X509_cmp_time(X509_REVOKED_get0_revocationDate(revoked), &when) <= 0;
}

void Note(SkxChainFaults& faults, int fault, X509_STORE_CTX* context) {
  switch (fault) {
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
    case X509_V_ERR_CERT_UNTRUSTED:
      faults.isUntrusted = true;
      return;
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
      faults.isExpired = true;
      return;
    case X509_V_ERR_CA_MD_TOO_WEAK:
      faults.isWeak = true;
      return;
    case X509_V_ERR_CERT_REVOKED:
      faults.isRevoked = faults.isRevoked || WasRevokedBefore(context, faults.when);
      return;
    // Lists are looked at where there are any, however old: without the net there is no newer one.
    case X509_V_ERR_UNABLE_TO_GET_CRL:
    case X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER:
    case X509_V_ERR_CRL_HAS_EXPIRED:
    case X509_V_ERR_CRL_NOT_YET_VALID:
    case X509_V_ERR_DIFFERENT_CRL_SCOPE:
      return;
    default:
      faults.isBad = true;
  }
}

int OnVerify(int isGood, X509_STORE_CTX* context) {
  auto& faults = *static_cast<SkxChainFaults*>(X509_STORE_CTX_get_app_data(context));
  if (isGood != 1) {
    const int fault = X509_STORE_CTX_get_error(context);
    if (fault == X509_V_ERR_OUT_OF_MEM) return 0;  // nothing may be thrown through the library
    Note(faults, fault, context);
  }
  return 1;
}

/// Also of those who certify: one whose certificate is for other uses cannot lend this one.
bool IsFor(EkxCertificateUse use, X509* certificate) {
  const uint32_t uses = X509_get_extended_key_usage(certificate);  // all bits where it does not say
  const uint32_t wanted = use == EkxCertificateUse::SignTime ? XKU_TIMESTAMP : XKU_CODE_SIGN;
  return (uses & (wanted | XKU_ANYEKU)) != 0;
}

bool IsWholeChainFor(EkxCertificateUse use, const STACK_OF(X509) * chain, bool endsAtRoot) {
  const int count = sk_X509_num(chain) - (endsAtRoot ? 1 : 0);  // what a root is trusted for, its keeper says
  for (int i = 0; i < count; ++i) {
    if (!IsFor(use, sk_X509_value(chain, i))) return false;
  }
  return true;
}

/// As the library grades them: without MD5, SHA-1 and keys that are as weak; the signature of the root itself is not
/// looked at, since nobody is convinced by that.
constexpr int kNothingBroken = 1;

KxWString NamePart(X509_NAME* name, int part) {
  const int index = X509_NAME_get_index_by_NID(name, part, -1);
  if (index < 0) return KxWString();
  unsigned char* bytes = nullptr;
  const int size = ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, index)));
  CkxOpensslErrors::Check();
  if (size < 0) return KxWString();
  const std::string utf8(reinterpret_cast<const char*>(bytes), static_cast<size_t>(size));
  OPENSSL_free(bytes);
  const std::optional<KxWString> text = KxText_FromUtf8(utf8);
  return text && text->find(WCHAR{0}) == KxWString::npos ? *text : KxWString();
}

}  // namespace

EkxChainVerdict KxChain_Judge(X509* certificate, STACK_OF(X509) * others, const CkxTrustStore& trust, time_t when,
                              EkxCertificateUse use) {
  const CkxX509StoreContext context(KxOpenssl_NotNull(X509_STORE_CTX_new()));
  if (X509_STORE_CTX_init(context.get(), trust.Get().store.get(), certificate, others) != 1) throw std::bad_alloc();
  SkxChainFaults faults{when};
  X509_STORE_CTX_set_app_data(context.get(), &faults);
  X509_STORE_CTX_set_verify_cb(context.get(), OnVerify);
  X509_VERIFY_PARAM* const parameters = X509_STORE_CTX_get0_param(context.get());
  X509_VERIFY_PARAM_set_time(parameters, when);
  X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
  if (use == EkxCertificateUse::SignImage) X509_VERIFY_PARAM_set_auth_level(parameters, kNothingBroken);

  const int verified = X509_verify_cert(context.get());
  const STACK_OF(X509)* const chain = X509_STORE_CTX_get0_chain(context.get());
  if (verified < 0 || X509_STORE_CTX_get_error(context.get()) == X509_V_ERR_OUT_OF_MEM) throw std::bad_alloc();
  if (verified == 0 || chain == nullptr || faults.isBad) return EkxChainVerdict::Bad;
  if (!IsWholeChainFor(use, chain, !faults.isUntrusted)) return EkxChainVerdict::Bad;
  if (faults.isRevoked) return EkxChainVerdict::Revoked;
  if (faults.isUntrusted) return EkxChainVerdict::UntrustedRoot;
  if (faults.isExpired) return EkxChainVerdict::Expired;
  return faults.isWeak ? EkxChainVerdict::Weak : EkxChainVerdict::Good;
}

EkxPublisherStatus KxChain_Status(EkxChainVerdict verdict) {
  switch (verdict) {
    case EkxChainVerdict::Bad:
      return EkxPublisherStatus::Invalid;
    case EkxChainVerdict::Revoked:
      return EkxPublisherStatus::Revoked;
    case EkxChainVerdict::UntrustedRoot:
      return EkxPublisherStatus::UntrustedRoot;
    case EkxChainVerdict::Expired:
      return EkxPublisherStatus::Expired;
    case EkxChainVerdict::Weak:
      return EkxPublisherStatus::ValidByWeakDigest;
    case EkxChainVerdict::Good:
      break;
  }
  return EkxPublisherStatus::Valid;
}

KxWString KxCertificate_Name(X509* certificate) {
  X509_NAME* const subject = X509_get_subject_name(certificate);
  KxWString name = NamePart(subject, NID_commonName);
  return name.empty() ? NamePart(subject, NID_organizationName) : name;
}
