// Whose signatures of images count for the run of a verb: --require-signature, --signer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Agent/engine/kx_publish/image/image_signature.h"
#include "tools/kxpolicy/options.h"

struct SkxSignatureOptions {
  std::vector<std::string> roots;  ///< each a file or a folder; none: no signature is asked for
  std::string signer;

  /// `this` outlives the verb.
  void AddTo(const CkxVerbOptions& verb);
};

class CkxSignatureDemand {
 public:
  /// Reads the roots, once. Throws CkxToolFault, unusable input, for one without certificates.
  explicit CkxSignatureDemand(const SkxSignatureOptions& options);

  bool IsMade() const { return _isMade; }

  /// Who signed the image. Where no signature is asked for no signer is trusted, but one that holds has a name.
  SkxSigner SignerOf(const SkxPolicyImage& image) const;

  /// Why an image of that signer is not to be believed; empty where it is, or no signature is asked for.
  std::string FaultOf(const SkxSigner& signer) const;

  /// The signer of `image`, who counts; nothing where no signature is asked for. Throws CkxToolFault, unusable input,
  /// for an image that is not to be believed. `path`: as lines call the image.
  std::optional<std::string> Require(const SkxPolicyImage& image, const std::string& path) const;

 private:
  const bool _isMade;
  CkxTrustStore _roots;  // the system's are not among them: anybody can be certified by those
  KxWString _signer;
};
