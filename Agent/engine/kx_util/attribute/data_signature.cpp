#include "Agent/engine/kx_util/attribute/data_signature.h"

#include "Agent/engine/kx_util/attribute/secret_provider.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/crypto/hmac.h"
#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

using Bytes = std::span<const unsigned char>;
using SignatureBytes = std::vector<unsigned char>;

std::optional<SignatureBytes> KeyedSignature(Bytes data, const CkxSecret& key) {
  const std::optional<KxHmacBytes> made = KxHmac_Sha256(key.Bytes(), {data});
  return made ? std::optional(SignatureBytes(made->begin(), made->end())) : std::nullopt;
}

/// The pass phrase last: what begins with a secret could be continued by who does not know it.
std::optional<SignatureBytes> OlderSignature(Bytes data, const CkxSecret& passPhrase) {
  CkxHasher hasher(EkxHashAlgorithm::Sha1);
  SignatureBytes made;
  const bool done = hasher.Update(data) && hasher.Update(passPhrase.Bytes()) && hasher.Finish(made);
  return done ? std::optional(std::move(made)) : std::nullopt;
}

EkxSignatureVerdict JudgeKeyed(Bytes data, Bytes stored) {
  const std::shared_ptr<const IkxSecretProvider> provider = KxSecrets_Installed();
  CkxSecret key;
  unsigned number = 0;
  for (; provider != nullptr && number < kKxMaxKeys && provider->Key(number, key); ++number) {
    const std::optional<SignatureBytes> expected = KeyedSignature(data, key);
    if (!expected) return EkxSignatureVerdict::NoKey;
    if (KxHmac_Equals(*expected, stored)) return EkxSignatureVerdict::Holds;
  }
  return number == 0 ? EkxSignatureVerdict::NoKey : EkxSignatureVerdict::Differs;
}

EkxSignatureVerdict JudgeOlder(Bytes data, Bytes stored) {
  const std::optional<SignatureBytes> expected = KxDataSignature_Make(data, EkxSignatureForm::Older);
  if (!expected) return EkxSignatureVerdict::NoPassPhrase;
  return KxHmac_Equals(*expected, stored) ? EkxSignatureVerdict::Holds : EkxSignatureVerdict::Differs;
}

/// A machine that was never told allows them.
bool ReadAllowPassPhraseRegistry() {
  const std::optional<uint32_t> allowed = KxRegistry_Number(KXW("Software\\Quennart\\Agent"), KXW("AllowPassPhrase"));
  return allowed ? *allowed != 0 : KxLastError_Get() == kKxErrorFileNotFound;
}

/// Whether the migration is completed.
bool ReadMigrationStatusRegistry() {
  const std::optional<KxWString> status =
      KxRegistry_Text(KXW("Software\\QuennartUpgrade\\Agent"), KXW("MigrationStatus"));
  return status ? KxText_Equals(*status, KXW("Completed"), false) : KxLastError_Get() != kKxErrorFileNotFound;
}

bool IsOlderBelieved(EkxSignatureCheck check) {
  return check == EkxSignatureCheck::OlderToo ||
         (check == EkxSignatureCheck::AsConfigured && KxUtil_OlderSignaturesAreBelieved());
}

const char* ReasonOf(EkxSignatureVerdict verdict) {
  switch (verdict) {
    case EkxSignatureVerdict::NoKey:
      return "ERROR: Failed to get expected signature.";
    case EkxSignatureVerdict::NoPassPhrase:
      return "ERROR: Failed to get expected signature in fall back";
    case EkxSignatureVerdict::Differs:
    case EkxSignatureVerdict::Holds:
      break;
  }
  return "ERROR: Integrity check failed for signature";
}

}  // namespace

bool KxUtil_OlderSignaturesAreBelieved() noexcept {
  return KxEntry(false, [] {
    const CkxLastErrorGuard guard;
    return ReadAllowPassPhraseRegistry() && !ReadMigrationStatusRegistry();
  });
}

std::optional<std::vector<unsigned char>> KxDataSignature_Make(Bytes data, EkxSignatureForm form) {
  const std::shared_ptr<const IkxSecretProvider> provider = KxSecrets_Installed();
  CkxSecret secret;
  if (provider == nullptr) return std::nullopt;
  if (form == EkxSignatureForm::Keyed) {
    return provider->Key(0, secret) ? KeyedSignature(data, secret) : std::nullopt;
  }
  return provider->PassPhrase(secret) ? OlderSignature(data, secret) : std::nullopt;
}

EkxSignatureVerdict KxDataSignature_Judge(Bytes data, Bytes stored, EkxSignatureCheck check) {
  if (check == EkxSignatureCheck::None) return EkxSignatureVerdict::Holds;
  if (stored.size() == kKeyedSignatureBytes) return JudgeKeyed(data, stored);
  if (stored.size() == kOlderSignatureBytes && IsOlderBelieved(check)) return JudgeOlder(data, stored);
  return EkxSignatureVerdict::Differs;
}

bool KxDataSignature_Holds(Bytes data, Bytes stored, EkxSignatureCheck check, std::string_view scope) {
  const EkxSignatureVerdict verdict = KxDataSignature_Judge(data, stored, check);
  if (verdict == EkxSignatureVerdict::Holds) return true;
  KxTrace(EkxTraceLevel::Error, scope, ReasonOf(verdict));
  return false;
}
