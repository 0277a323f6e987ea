#include "tools/kxpolicy/image_signing.h"

#include "Agent/engine/kx_publish/image/image_signature.h"
#include "Agent/engine/kx_util/buffer/wipe.h"
#include "Common_CPP/crypto/secret_file.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr size_t kMaxPemBytes = 64 * 1024;

using KeyBytes = KxWipedVector<unsigned char>;

KxWString PemPath(const std::string& path) {
  const std::optional<KxWString> wide = KxText_FromUtf8(path);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, path + ": is not UTF-8");
  return *wide;
}

/// Whoever else can read the key can sign too.
KeyBytes ReadSigningKey(const std::string& path) {
  KeyBytes key(kMaxPemBytes + 1);
  size_t size = 0;
  switch (KxSecretFile_Read(PemPath(path), EkxSecretFile::Owners, key, size)) {
    case EkxSecretRead::NotOwnersAlone:
      throw CkxToolFault(EkxExit::UnusableArguments, path + ": is no file that its owner alone can read");
    case EkxSecretRead::Unreadable:
      throw CkxToolFault(EkxExit::UnusableInput, path + ": cannot be read: " + KxFile_WhyRefused(PemPath(path)));
    case EkxSecretRead::Read:
      break;
  }
  if (size > kMaxPemBytes) throw CkxToolFault(EkxExit::UnusableInput, path + ": is too long for a key");
  key.resize(size);
  return key;
}

}  // namespace

void SkxSigningOptions::AddTo(const CkxVerbOptions& verb) {
  const CkxOption ofKey = verb.Add("--sign", key, "Private key (PEM, not encrypted, its owner's alone to read)").File();
  const CkxOption ofCertificate =
      verb.Add("--certificate", certificate, "The signer's certificate (PEM), behind it those who vouch for it").File();
  ofKey.Needs(ofCertificate);
  ofCertificate.Needs(ofKey);
}

void SkxSigningOptions::Sign(SkxPolicyImage& image) const {
  if (key.empty()) return;
  const KeyBytes keyBytes = ReadSigningKey(key);
  const std::optional<std::vector<unsigned char>> certificates = KxFile_ReadAll(PemPath(certificate), kMaxPemBytes);
  if (!certificates)
    throw CkxToolFault(EkxExit::UnusableInput,
                       certificate + ": cannot be read: " + KxFile_WhyRefused(PemPath(certificate)));
  std::string error;
  if (!KxImageSignature_Sign(image, keyBytes, *certificates, error)) {
    throw CkxToolFault(EkxExit::UnusableInput, "the image cannot be signed with " + key + ": " + error);
  }
}
