#include "Common_CPP/signature/signature.h"

#include <array>

#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/certificate_chain_win.h"
#include "Common_CPP/signature/signed_message_win.h"

// After wincrypt.h.
#include <bcrypt.h>

namespace {

/// The system's own has these members; the headers of some compilers end before them.
struct SkxSignatureSettings {
  DWORD size = sizeof(SkxSignatureSettings);
  DWORD index = 0;
  DWORD flags = 1 | 2;  // verify the one that `index` says, and count the others
  DWORD others = 0;     // set by the system; one that knows none of this leaves it
  DWORD verifiedIndex = 0;
  void* policy = nullptr;
};
struct SkxTrustQuestion {
  WINTRUST_DATA data{};
  SkxSignatureSettings* settings = nullptr;
};

EkxPublisherStatus StatusOf(LONG result) {
  switch (result) {
    case ERROR_SUCCESS:
      return EkxPublisherStatus::Valid;
    case E_OUTOFMEMORY:
      throw std::bad_alloc();
    case TRUST_E_NOSIGNATURE:
    case TRUST_E_SUBJECT_FORM_UNKNOWN:
    case TRUST_E_PROVIDER_UNKNOWN:
      return EkxPublisherStatus::Unsigned;
    case CERT_E_UNTRUSTEDROOT:
    case CERT_E_CHAINING:
    case CERT_E_UNTRUSTEDTESTROOT:
      return EkxPublisherStatus::UntrustedRoot;
    case CERT_E_EXPIRED:
      return EkxPublisherStatus::Expired;
    case CERT_E_REVOKED:
    case TRUST_E_EXPLICIT_DISTRUST:
      return EkxPublisherStatus::Revoked;
    case CRYPT_E_FILE_ERROR:
      return EkxPublisherStatus::Unknown;
    default:
      return EkxPublisherStatus::Invalid;
  }
}

/// The system's verdict on one signature, with what it learned on the way; nothing is fetched from the net.
class CkxVerification {
 public:
  CkxVerification(DWORD choice, void* subject, DWORD index) {
    _settings.index = index;
    _question.settings = &_settings;
    WINTRUST_DATA& data = _question.data;
    data.cbStruct = sizeof(_question);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = choice;
    data.pFile = static_cast<WINTRUST_FILE_INFO*>(subject);  // a union of pointers
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    data.dwProvFlags = WTD_CACHE_ONLY_URL_RETRIEVAL;
    _result = Ask();
  }
  ~CkxVerification() {
    _question.data.dwStateAction = WTD_STATEACTION_CLOSE;
    Ask();
  }
  CkxVerification(const CkxVerification&) = delete;
  CkxVerification& operator=(const CkxVerification&) = delete;

  LONG Result() const { return _result; }
  bool HasSecond() const { return _settings.others > 0; }

  /// Some systems count the signatures and then look at the first whichever was asked for.
  bool IsOfThatIndex() const { return _settings.verifiedIndex == _settings.index; }

  /// Null when the system did not get so far.
  HCRYPTMSG Message() const {
    const CRYPT_PROVIDER_DATA* const state = State();
    return state != nullptr ? state->hMsg : nullptr;
  }
  const CRYPT_PROVIDER_SGNR* Signer() const {
    CRYPT_PROVIDER_DATA* const state = State();
    return state != nullptr ? SkxTrustFunctions::Get().signerOf(state, 0, FALSE, 0) : nullptr;
  }

 private:
  LONG Ask() {
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    return SkxTrustFunctions::Get().verify(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &_question.data);
  }
  CRYPT_PROVIDER_DATA* State() const {
    const HANDLE state = _question.data.hWVTStateData;
    return state != nullptr ? SkxTrustFunctions::Get().stateData(state) : nullptr;
  }

  SkxSignatureSettings _settings;
  SkxTrustQuestion _question;
  LONG _result = 0;
};

/// The chain once more, with the roots that a caller has added and the lists of revoked certificates that are here.
EkxPublisherStatus JudgeChain(const CRYPT_PROVIDER_SGNR& signer) {
  if (signer.csCertChain == 0) return EkxPublisherStatus::Invalid;
  const CkxTrustStore* const trust = CkxTrustStore::Current();
  return KxChain_Judge(signer.pasCertChain[0].pCert, trust, signer.sftVerifyAsOf, EkxCertificateUse::SignCode);
}

EkxPublisherStatus StatusOf(const CkxVerification& verification) {
  const EkxPublisherStatus status = StatusOf(verification.Result());
  if (status != EkxPublisherStatus::Valid && status != EkxPublisherStatus::UntrustedRoot) return status;
  const CRYPT_PROVIDER_SGNR* const signer = verification.Signer();
  const HCRYPTMSG message = verification.Message();
  if (signer == nullptr || message == nullptr) return EkxPublisherStatus::Invalid;
  const EkxPublisherStatus chain = JudgeChain(*signer);
  const bool isWeak = chain == EkxPublisherStatus::Valid && KxSignedMessage_IsWeak(message);
  return isWeak ? EkxPublisherStatus::ValidByWeakDigest : chain;
}

/// A message of the file itself, for what the system does not tell.
auto OpenMessage(std::span<const unsigned char> bytes) {
  return CkxTrustObject(KxSignedMessage_Open(bytes),
                        [](HCRYPTMSG message) { SkxTrustFunctions::Get().closeMessage(message); });
}

SkxSigner SignerOf(const CkxVerification& verification, std::span<const unsigned char> own) {
  SkxSigner signer = {KxWString(), StatusOf(verification)};
  if (const HCRYPTMSG message = verification.Message()) {
    signer.name = KxSignedMessage_SignerName(message);
  } else if (const auto ownMessage = OpenMessage(own)) {
    signer.name = KxSignedMessage_SignerName(ownMessage.Get());
  }
  return signer;
}

/// A second signature that this system does not look at has a name, and nobody knows whether it holds.
SkxSigner UnverifiedSecond(std::span<const unsigned char> own) {
  const auto first = OpenMessage(own);
  const auto nested = first ? KxSignedMessage_Nested(first.Get()) : std::nullopt;
  if (!nested) return {KxWString(), EkxPublisherStatus::Unsigned};
  const auto second = OpenMessage(*nested);
  if (!second) return {KxWString(), EkxPublisherStatus::Invalid};
  return {KxSignedMessage_SignerName(second.Get()), EkxPublisherStatus::Unknown};
}

SkxSigner SecondSigner(const CkxVerification& first, WINTRUST_FILE_INFO& info, std::span<const unsigned char> own) {
  if (first.HasSecond()) {
    const CkxVerification second(WTD_CHOICE_FILE, &info, 1);
    if (second.IsOfThatIndex()) return SignerOf(second, {});
  }
  return UnverifiedSecond(own);
}

WINTRUST_FILE_INFO FileInfo(const SkxSignedFile& signedFile, const KxWString& path) {
  WINTRUST_FILE_INFO info{};
  info.cbStruct = sizeof(info);
  info.pcwszFilePath = path.c_str();
  info.hFile = reinterpret_cast<HANDLE>(signedFile.file.NativeHandle());
  return info;
}

/// The signature of a catalog that is installed and has this file's digest; unsigned when none has.
SkxSigner CatalogSigner(const SkxSignedFile& signedFile, const KxWString& path) {
  const SkxTrustFunctions& system = SkxTrustFunctions::Get();
  const SkxSigner kNone = {KxWString(), EkxPublisherStatus::Unsigned};
  HCATADMIN opened = nullptr;
  if (!system.HaveCatalogs() || !system.openCatalogs(&opened, nullptr, BCRYPT_SHA256_ALGORITHM, nullptr, 0)) {
    return kNone;
  }
  const CkxTrustObject catalogs(opened, [&](HCATADMIN admin) { system.closeCatalogs(admin, 0); });
  const HANDLE file = reinterpret_cast<HANDLE>(signedFile.file.NativeHandle());
  std::array<BYTE, 64> hash;
  DWORD size = static_cast<DWORD>(hash.size());
  if (!system.hashForCatalogs(opened, file, &size, hash.data(), 0)) return {};
  const CkxTrustObject catalog(system.catalogWith(opened, hash.data(), size, 0, nullptr),
                               [&](HCATINFO found) { system.closeCatalog(opened, found, 0); });
  CATALOG_INFO info{};
  info.cbStruct = sizeof(info);
  if (!catalog || !system.catalogInfo(catalog.Get(), &info, 0)) return kNone;

  const KxWString tag = KxHash_Hexadecimal(std::span(hash).first(size));
  WINTRUST_CATALOG_INFO member{};
  member.cbStruct = sizeof(member);
  member.pcwszCatalogFilePath = info.wszCatalogFile;
  member.pcwszMemberTag = tag.c_str();
  member.pcwszMemberFilePath = path.c_str();
  member.hMemberFile = file;
  member.pbCalculatedFileHash = hash.data();
  member.cbCalculatedFileHash = size;
  return SignerOf(CkxVerification(WTD_CHOICE_CATALOG, &member, 0), {});
}

}  // namespace

SkxSigners KxSignature_Look(const SkxSignedFile& signedFile) {
  if (!SkxTrustFunctions::Get().AreThere()) return {};
  const KxWString path = signedFile.path.ToString();
  WINTRUST_FILE_INFO info = FileInfo(signedFile, path);
  const bool hasOwn = signedFile.program != nullptr && signedFile.program->hasTable;
  const std::span<const unsigned char> own =
      hasOwn ? std::span<const unsigned char>(signedFile.program->message) : std::span<const unsigned char>();

  const CkxVerification first(WTD_CHOICE_FILE, &info, 0);
  SkxSigners signers = {SignerOf(first, own), {KxWString(), EkxPublisherStatus::Unsigned}};
  if (hasOwn && signers.first.status == EkxPublisherStatus::Unsigned)
    signers.first.status = EkxPublisherStatus::Invalid;
  if (signers.first.status == EkxPublisherStatus::Unsigned) {
    signers.first = CatalogSigner(signedFile, path);
  } else {
    signers.second = SecondSigner(first, info, own);
  }
  return signers;
}
