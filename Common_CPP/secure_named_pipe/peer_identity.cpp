#include "Common_CPP/secure_named_pipe/peer_identity.h"

#include <algorithm>
#include <atomic>

#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/util/trace.h"

namespace {

std::atomic<const IkxProcessIdentity*> installed{nullptr};

bool IsTrustedUser(const CkxSid& user) {
  constexpr std::string_view kTrusted[] = {"S-1-5-18", "S-1-5-32-544"};  // the system, administrators
  const std::string text = user.ToUtf8();
  return std::find(std::begin(kTrusted), std::end(kTrusted), text) != std::end(kTrusted) || KxPeer_IsOwnUser(user);
}

KxWStringView FileName(KxWStringView path) { return path.substr(path.find_last_of(KXW("\\/")) + 1); }

bool IsImage(const KxWString& path, const KxWString& expected) {
  const CkxTextView name = FileName(path);
  return KxText_Equals(name, expected, false) || KxText_Equals(name, expected + KXW(".exe"), false);
}

bool IsExpectedProgram(const IkxProcessIdentity& identity, uint32_t processId, const SkxExpectedPeer& expected) {
  const std::optional<KxWString> image = identity.Image(processId);
  if (!image || (!expected.image.empty() && !IsImage(*image, expected.image))) return false;
  return expected.signer.empty() || identity.Signer(*image) == expected.signer;
}

}  // namespace

const IkxProcessIdentity* KxPeer_SetIdentity(const IkxProcessIdentity* identity) {
  return installed.exchange(identity, std::memory_order_acq_rel);
}

bool KxPeer_IsExpectedServer(const SkxPipePeer& peer, const SkxExpectedPeer& expected) {
  constexpr std::string_view kScope = "KxPeer_IsExpectedServer";
  if (!IsTrustedUser(peer.user)) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Process ", peer.processId, " serves as ", peer.user.ToUtf8(),
            ". Refused");
    return false;
  }
  if (expected.image.empty() && expected.signer.empty()) return true;
  const IkxProcessIdentity* identity = installed.load(std::memory_order_acquire);
  if (identity == nullptr) identity = KxPeer_SystemIdentity();
  if (identity == nullptr || IsExpectedProgram(*identity, peer.processId, expected)) return true;
  KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Process ", peer.processId, " is not known to be [", expected.image,
          "] signed by [", expected.signer, "]. Refused");
  return false;
}
