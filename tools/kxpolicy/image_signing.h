// Signing what is compiled: --sign, --certificate.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "tools/kxpolicy/options.h"

struct SkxSigningOptions {
  std::string key;
  std::string certificate;

  /// `this` outlives the verb.
  void AddTo(const CkxVerbOptions& verb);

  /// Where a key is given. Throws CkxToolFault.
  void Sign(SkxPolicyImage& image) const;
};
