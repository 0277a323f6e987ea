// Who is at the other end of a channel, and whether a server is the one that its client means.
//
// Two things are asked of a server. Its user must be the system, an administrator or the caller's own user, as for the
// sections: nobody else's process answers under the agent's name. Then, when the client expects an image or a signer,
// the program behind the server's process must be that one; what cannot be told counts as a mismatch.
#pragma once

#include <optional>

#include "Common_CPP/security/sid.h"

/// As the system tells it, not the peer. Of a client: the user that its thread connected as. Of a server: the owner of
/// its pipe (for an elevated process the administrators) or the user that it listens as.
struct SkxPipePeer {
  CkxSid user;
  uint32_t processId = 0;
};

/// The program that a client expects behind a server; an empty text is not compared.
struct SkxExpectedPeer {
  KxWString image;   ///< file name, with or without ".exe", case folded: "KxAgent"; "System" is the kernel
  KxWString signer;  ///< name of the signer, to the letter: "Microsoft Windows"
};

/// What is known of the program behind a process. The host installs its own where it can tell a file's signer.
class IkxProcessIdentity {
 public:
  virtual ~IkxProcessIdentity() = default;

  /// Full path of the process's image; nothing when it cannot be told.
  virtual std::optional<KxWString> Image(uint32_t processId) const = 0;

  /// The name of the valid signer of the file `image`; nothing when it has none or that cannot be told.
  virtual std::optional<KxWString> Signer(const KxWString& image) const = 0;
};

/// Windows: images are asked of the system, and signers cannot be told. Elsewhere null: a program carries no signer
/// there, and the user alone identifies a server, so that expected images and signers are not compared.
const IkxProcessIdentity* KxPeer_SystemIdentity();

/// Installs `identity` for the process (not owned; null: the system's) and returns the one before. Several threads may
/// ask it at once.
const IkxProcessIdentity* KxPeer_SetIdentity(const IkxProcessIdentity* identity);

/// Both questions above. A refusal is traced.
bool KxPeer_IsExpectedServer(const SkxPipePeer& peer, const SkxExpectedPeer& expected);
