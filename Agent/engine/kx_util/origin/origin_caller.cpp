#include "Agent/engine/kx_util/origin/origin_caller.h"

#include <mutex>

#include "Agent/engine/kx_util/origin/well_known_process.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/own_ids.h"
#include "Common_CPP/util/text.h"

namespace {

std::mutex callerMutex;  // guards the pointer

/// Never destroyed: at the end of a process its other threads may still ask.
std::shared_ptr<const IkxOriginCaller>& InstalledCaller() {
  static auto* const installed = std::make_unique<std::shared_ptr<const IkxOriginCaller>>().release();
  return *installed;
}

/// By whom it runs for, as a client of the agent judges it.
bool IsAgentsProcess() {
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  return KxTrust_OwnUser() || (user && KxTrust_IsPrivileged(*user));
}

bool IsMailProgram() {
  EkxProcessLookup lookup{};
  const CkxTargetInfoPtr own = CkxTargetInfoProcess::CreateFromPid(KxOwn_ProcessId(), lookup);
  if (own == nullptr) return false;
  const SkxWellKnownProcess* const known = KxWellKnown_Of(static_cast<const CkxTargetInfoProcess&>(*own));
  return known != nullptr && KxText_Equals(known->shortName, KXW("outlook"), true);
}

}  // namespace

std::shared_ptr<const IkxOriginCaller> KxUtil_SetOriginCaller(std::shared_ptr<const IkxOriginCaller> caller) noexcept {
  KxEntry([&] {
    const std::lock_guard lock(callerMutex);
    InstalledCaller().swap(caller);
  });
  return caller;
}

bool CkxMailOriginCaller::MayWrite() const noexcept {
  return KxEntry(false, [] { return IsAgentsProcess() || IsMailProgram(); });
}

bool KxOriginCaller_MayWrite() {
  std::shared_ptr<const IkxOriginCaller> caller;
  {
    const std::lock_guard lock(callerMutex);
    caller = InstalledCaller();
  }
  return caller != nullptr ? caller->MayWrite() : IsAgentsProcess();
}
