// Who may write down where a file came from. The library is loaded by any program; most have nothing to say there.
//
//   KxUtil_SetOriginCaller(std::make_shared<CkxMailOriginCaller>());
//
// Until a host installs another answer, the agent's own process alone may.
#pragma once

#include <memory>

#include "Common_CPP/util/base.h"

/// The answer that a host installs.
class IkxOriginCaller {
 public:
  virtual ~IkxOriginCaller() = default;
  /// Whether this process may, now. Asked by any thread; must not throw.
  virtual bool MayWrite() const noexcept = 0;
};

/// For the whole process, from the next question on; null: the agent's own process alone. Returns the one before, which
/// the library keeps no longer once a question under way is answered.
KX_UTIL_API std::shared_ptr<const IkxOriginCaller> KxUtil_SetOriginCaller(
    std::shared_ptr<const IkxOriginCaller> caller) noexcept;

/// The agent's process, and the mail program that everybody knows, by its place and its signature.
class KX_UTIL_API CkxMailOriginCaller : public IkxOriginCaller {
 public:
  bool MayWrite() const noexcept override;
};
