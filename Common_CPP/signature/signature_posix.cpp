#include <ctime>

#include "Common_CPP/signature/signature.h"
#include "Common_CPP/signature/signed_message_posix.h"

namespace {

struct SkxLook {
  const SkxSignedFile& file;
  const CkxTrustStore& trust;
  time_t now;
};

EkxPublisherStatus Judge(const SkxLook& look, const CkxSignedMessage& message) {
  const EkxPublisherStatus status = message.Judge(look.trust, look.now);
  if (status == EkxPublisherStatus::Invalid) return status;
  const std::optional<std::vector<unsigned char>> digest = look.file.digestOf(message.Algorithm());
  if (!digest) return EkxPublisherStatus::Unknown;
  return *digest == message.Digest() ? status : EkxPublisherStatus::Invalid;
}

SkxSigner SignerOf(const SkxLook& look, const std::optional<CkxSignedMessage>& message) {
  if (!message) return {KxWString(), EkxPublisherStatus::Invalid};
  return {message->SignerName(), Judge(look, *message)};
}

SkxSigners SignersOf(const SkxLook& look, std::span<const unsigned char> bytes) {
  const std::optional<CkxSignedMessage> message = CkxSignedMessage::Parse(bytes);
  SkxSigners signers;
  signers.first = SignerOf(look, message);
  const auto nested = message ? message->Nested() : std::nullopt;
  signers.second =
      nested ? SignerOf(look, CkxSignedMessage::Parse(*nested)) : SkxSigner{KxWString(), EkxPublisherStatus::Unsigned};
  return signers;
}

}  // namespace

SkxSigners KxSignature_Look(const SkxSignedFile& signedFile) {
  constexpr EkxPublisherStatus kUnsigned = EkxPublisherStatus::Unsigned;
  if (signedFile.program == nullptr) return {};
  if (!signedFile.program->hasTable) return {{KxWString(), kUnsigned}, {KxWString(), kUnsigned}};
  std::optional<CkxTrustStore> systems;
  const CkxTrustStore* const given = CkxTrustStore::Current();
  const CkxTrustStore& trust = given != nullptr ? *given : systems.emplace();
  return SignersOf({signedFile, trust, std::time(nullptr)}, signedFile.program->message);
}
