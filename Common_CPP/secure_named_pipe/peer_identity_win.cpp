#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/integrity_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/util/process_image_win.h"

namespace {

constexpr uint32_t kSystemIntegrity = 0x4000;

class CkxSystemIdentity : public IkxProcessIdentity {
 public:
  std::optional<KxWString> Image(uint32_t processId) const override {
    if (processId == kKxKernelProcess) return KxWString(L"System");  // it has no file
    const CkxHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (!process) return std::nullopt;
    return KxProcess_ImageOf(process.Get());
  }

  std::optional<KxWString> Signer(const KxWString& /*image*/) const override { return std::nullopt; }
};

}  // namespace

/// The process's: a user that a thread of a service stands in for just now must not answer it in the agent's place. A
/// process that cannot tell its own integrity has the highest, so that nobody is believed who may be below it.
SkxPipeAsker KxPeer_Asker(const SkxPipePeer& server) {
  return {KxObject_IsOwn(server.user), KxToken_Integrity(GetCurrentProcess()).value_or(kSystemIntegrity)};
}

const IkxProcessIdentity& KxPeer_SystemIdentity() {
  static const CkxSystemIdentity system;
  return system;
}
