#include <ctime>

#include "Common_CPP/file/file.h"
#include "Common_CPP/signature/msi_signature_posix.h"
#include "Common_CPP/signature/script_signature_posix.h"
#include "Common_CPP/signature/signature.h"
#include "Common_CPP/signature/signed_message_posix.h"
#include "Common_CPP/signature/trust_store_posix.h"

namespace {

using Bytes = std::vector<unsigned char>;
using HashWith = std::function<std::optional<Bytes>(EkxHashAlgorithm)>;

constexpr EkxPublisherStatus kUnsigned = EkxPublisherStatus::Unsigned;

/// Who is trusted, and since when.
struct SkxJudge {
  const CkxTrustStore& trust;
  time_t now;

  EkxPublisherStatus Judge(const CkxSignedMessage& message, bool isDigestWeak) const {
    const EkxPublisherStatus status = message.Judge(trust, now);
    const bool holds = status == EkxPublisherStatus::Valid;
    return holds && isDigestWeak ? EkxPublisherStatus::ValidByWeakDigest : status;
  }

  EkxPublisherStatus Judge(const CkxSignedMessage& message, const HashWith& digestOf) const {
    const std::optional<SkxSignedDigest> said = SkxSignedDigest::Read(message.Content());
    const EkxPublisherStatus status = said ? Judge(message, said->IsWeak()) : EkxPublisherStatus::Invalid;
    if (status == EkxPublisherStatus::Invalid) return status;
    const std::optional<Bytes> digest = digestOf(said->algorithm);
    if (!digest) return EkxPublisherStatus::Unknown;
    return *digest == said->digest ? status : EkxPublisherStatus::Invalid;
  }

  SkxSigner SignerOf(std::span<const unsigned char> bytes, const HashWith& digestOf,
                     std::optional<Bytes>* nested = nullptr) const {
    const std::optional<CkxSignedMessage> message = CkxSignedMessage::Parse(bytes, kKxIndirectData);
    if (!message) return {KxWString(), EkxPublisherStatus::Invalid};
    if (nested != nullptr) {
      if (const auto second = message->Nested()) nested->emplace(second->begin(), second->end());
    }
    return {message->SignerName(), Judge(*message, digestOf)};
  }

  SkxSigners SignersOf(std::span<const unsigned char> bytes, const HashWith& digestOf) const {
    std::optional<Bytes> nested;
    SkxSigners signers;
    signers.first = SignerOf(bytes, digestOf, &nested);
    signers.second = nested ? SignerOf(*nested, digestOf) : SkxSigner{KxWString(), kUnsigned};
    return signers;
  }
};

SkxSigners SignersOfScript(const SkxSignedFile& signedFile, const SkxJudge& judge) {
  SkxFileStatus status;
  const auto script = signedFile.file.Status(status)
                          ? KxScriptSignature_Read(signedFile.file, status.size, signedFile.path)
                          : std::nullopt;
  if (!script) return {};
  if (!script->hasBlock) return {{KxWString(), kUnsigned}, {KxWString(), kUnsigned}};
  SkxSigners signers = judge.SignersOf(
      script->message, [&](EkxHashAlgorithm algorithm) { return KxHash_OfBytes(script->covered, algorithm); });
  if (!script->isWhole) signers.first.status = EkxPublisherStatus::Invalid;
  return signers;
}

SkxSigners SignersOfPackage(const SkxSignedFile& signedFile, const SkxJudge& judge) {
  SkxFileStatus status;
  const auto package =
      signedFile.file.Status(status) ? CkxMsiSignature::Read(signedFile.file, status.size) : std::nullopt;
  if (!package) return {};
  if (!package->IsSigned()) return {{KxWString(), kUnsigned}, {KxWString(), kUnsigned}};
  return judge.SignersOf(package->Message(),
                         [&](EkxHashAlgorithm algorithm) { return package->Digest(algorithm, signedFile.mayRead); });
}

/// Read once: a bundle of roots takes as long to read as a few megabytes to hash. A process that lives longer than its
/// system's roots stay the same makes a scope of its own.
const CkxTrustStore& SystemsTrust() {
  static const CkxTrustStore store;
  return store;
}

/// By what the file itself carries. Unknown where that is of a kind that nobody looks at.
SkxSigners OwnSigners(const SkxSignedFile& signedFile, const SkxJudge& judge) {
  if (signedFile.program == nullptr) {
    return KxScriptSignature_IsFor(signedFile.path) ? SignersOfScript(signedFile, judge)
                                                    : SignersOfPackage(signedFile, judge);
  }
  if (!signedFile.program->hasTable) return {{KxWString(), kUnsigned}, {KxWString(), kUnsigned}};
  return judge.SignersOf(signedFile.program->message, signedFile.digestOf);
}

/// By the first catalog with the file's digest; nothing when none has it.
std::optional<SkxSigner> CatalogSigner(const SkxSignedFile& signedFile, const SkxJudge& judge) {
  const CkxCatalogs& catalogs = judge.trust.Get().catalogs;
  for (const EkxHashAlgorithm algorithm : catalogs.OfMembers()) {
    const std::optional<Bytes> digest = signedFile.digestOf(algorithm);
    const CkxSignedMessage* const catalog = digest ? catalogs.With(algorithm, *digest) : nullptr;
    if (catalog == nullptr) continue;
    const bool isWeak = SkxSignedDigest{algorithm, {}}.IsWeak();
    return SkxSigner{catalog->SignerName(), judge.Judge(*catalog, isWeak)};
  }
  return std::nullopt;
}

}  // namespace

SkxSigners KxSignature_Look(const SkxSignedFile& signedFile) {
  const CkxTrustStore* const given = CkxTrustStore::Current();
  const SkxJudge judge = {given != nullptr ? *given : SystemsTrust(), std::time(nullptr)};
  SkxSigners signers = OwnSigners(signedFile, judge);
  const bool isSigned = signers.first.status != kUnsigned && signers.first.status != EkxPublisherStatus::Unknown;
  if (isSigned) return signers;
  if (std::optional<SkxSigner> signer = CatalogSigner(signedFile, judge)) {
    return {*std::move(signer), {KxWString(), kUnsigned}};
  }
  return signers;
}
