#include <unistd.h>

#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/util/text.h"

namespace {

class CkxSystemIdentity : public IkxProcessIdentity {
 public:
  std::optional<KxWString> Image(uint32_t processId) const override {
    const std::string link = "/proc/" + std::to_string(processId) + "/exe";
    char path[4096];
    const ssize_t size = readlink(link.c_str(), path, sizeof(path));
    if (size <= 0 || static_cast<size_t>(size) == sizeof(path)) return std::nullopt;
    return KxText_FromUtf8({path, static_cast<size_t>(size)});
  }

  std::optional<KxWString> Signer(const KxWString& /*image*/) const override { return std::nullopt; }
};

}  // namespace

/// Its own user serves it in a folder of its own, and nowhere else.
SkxPipeAsker KxPeer_Asker(const SkxPipePeer& server) {
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  return {folder && KxPosix_IsTrustedOwner(folder, geteuid()) && KxPosixAccount_UserSid(geteuid()).Equals(server.user),
          0};
}

const IkxProcessIdentity& KxPeer_SystemIdentity() {
  static const CkxSystemIdentity system;
  return system;
}
