#include "Common_CPP/secure_named_pipe/peer_identity.h"

#include <atomic>

#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/security/agent_trust.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kPeerScope = "KxPeer_IsExpectedServer";

std::atomic<const IkxProcessIdentity*> expectedIdentity{nullptr};

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

uint32_t LeastIntegrity(const CkxSid& user) {
  constexpr uint32_t kHigh = 0x3000;
  constexpr uint32_t kSystem = 0x4000;
  if (!KxTrust_IsPrivileged(user)) return 0;
  return user.ToUtf8() == "S-1-5-32-544" ? kHigh : kSystem;
}

}  // namespace

const IkxProcessIdentity* KxPeer_SetIdentity(const IkxProcessIdentity* identity) {
  return expectedIdentity.exchange(identity, std::memory_order_acq_rel);
}

bool KxPeer_MayBeAgent(const SkxPipePeer& server, const SkxPipeAsker& asker) {
  if (!KxTrust_IsPrivileged(server.user) && !asker.trustsOwner) return false;
  return server.integrity.value_or(LeastIntegrity(server.user)) >= asker.integrity;
}

bool KxPeer_IsExpectedServer(const SkxPipePeer& server, const SkxExpectedPeer& expected) {
  if (!KxPeer_MayBeAgent(server, KxPeer_Asker(server))) {
    KxTrace(EkxTraceLevel::Error, kPeerScope, "ERROR: Process ", server.processId, " serves as ", server.user.ToUtf8(),
            ", integrity ", server.integrity.value_or(0), ". Refused");
    return false;
  }
  if (expected.image.empty() && expected.signer.empty()) return true;
  const IkxProcessIdentity* identity = expectedIdentity.load(std::memory_order_acquire);
  if (identity == nullptr) identity = &KxPeer_SystemIdentity();
  if (IsExpectedProgram(*identity, server.processId, expected)) return true;
  KxTrace(EkxTraceLevel::Error, kPeerScope, "ERROR: Process ", server.processId, " is not known to be [",
          expected.image, "] signed by [", expected.signer, "]. Refused");
  return false;
}
