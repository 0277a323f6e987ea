// Who is at the other end of a channel, and whether a server is one that its client believes.
//
// Three things are asked of a server. Its user must be one that may be the agent (Common_CPP/security/agent_trust.h).
// Its integrity must not be below the client's own: what a sandboxed process of a trusted user serves is not the
// agent's. Then, when the client expects an image or a signer, the program behind the server's process must be that
// one; what cannot be told counts as a mismatch.
#pragma once

#include <optional>

#include "Common_CPP/secure_named_pipe/process_identity.h"
#include "Common_CPP/security/sid.h"

/// As the system tells it, not the peer. Of a client: the user that its thread connected as. Of a server: the owner of
/// its pipe (for an elevated process the administrators) or the user that it listens as.
struct SkxPipePeer {
  CkxSid user;
  uint32_t processId = 0;

  /// Of the process, where the system has levels of integrity and lets it be looked at: 0x1000 low, 0x2000 medium,
  /// 0x3000 high, 0x4000 system.
  std::optional<uint32_t> integrity;
};

/// The program that a client expects behind a server; an empty text is not compared.
struct SkxExpectedPeer {
  KxWString image;   ///< file name, with or without ".exe", case folded: "KxAgent"; "System" is the kernel
  KxWString signer;  ///< name of the signer, to the letter: "Vendor Inc."
};

/// Asks the system for images, where it lets this process see them; signers cannot be told.
const IkxProcessIdentity& KxPeer_SystemIdentity();

/// Installs `identity` for the process (not owned; null: the system's) and returns the one before. Several threads may
/// ask it at once.
const IkxProcessIdentity* KxPeer_SetIdentity(const IkxProcessIdentity* identity);

/// The one who asks.
struct SkxPipeAsker {
  bool trustsOwner = false;  ///< the server's user is its own, and that is enough here
  uint32_t integrity = 0;    ///< its own; 0 where the system has no such levels
};

/// The first two questions above. A server whose process is closed to the client has the least integrity that its user
/// ever has: a service's account that of the system, an administrator a high one.
bool KxPeer_MayBeAgent(const SkxPipePeer& server, const SkxPipeAsker& asker);

/// All three questions, asked by this process. A refusal is traced.
bool KxPeer_IsExpectedServer(const SkxPipePeer& server, const SkxExpectedPeer& expected);
