// What a host can tell of the program behind a process.
#pragma once

#include <cstdint>
#include <optional>

#include "Common_CPP/util/base.h"

/// What is known of the program behind a process. The host installs its own where it can tell a file's signer.
class IkxProcessIdentity {
 public:
  virtual ~IkxProcessIdentity() = default;

  /// Full path of the process's image; nothing when it cannot be told.
  virtual std::optional<KxWString> Image(uint32_t processId) const = 0;

  /// The name of the valid signer of the file `image`; nothing when it has none or that cannot be told.
  virtual std::optional<KxWString> Signer(const KxWString& image) const = 0;
};
