// Files that hold a secret, such as the key of a signature. A file that others can read is refused, whatever is in it:
// what they know is no secret. That is asked of the open file, so that nothing can be put in its place in between.
//
// The system's own secrets lie in a folder of the machine. On Windows they are protected there (DPAPI, for the
// machine), so that a copy of the disk does not give them away.
#pragma once

#include <span>

#include "Common_CPP/util/text_view.h"

enum class EkxSecretFile : unsigned char {
  Named,    ///< whoever's it is, as it is. POSIX: its mode lets its owner alone read it; Windows: taken on trust
  Owners,   ///< the same, and Windows: its owner, who reads it here and the privileged alone may read it
  Systems,  ///< the agent's (Common_CPP/security/agent_trust.h), for privileged accounts alone; no link
};

enum class EkxSecretRead : unsigned char {
  Read,
  Unreadable,     ///< with the last error set
  NotOwnersAlone  ///< others can read it, or it may be somebody else's; said in the trace, the last error is 5
};

/// Reads as much of the file as there is room for, and says in `size` how much that is: give it a byte more than a
/// secret may have, to see that it is too long. `bytes` is the caller's to wipe, whatever comes back.
EkxSecretRead KxSecretFile_Read(CkxTextView path, EkxSecretFile kind, std::span<unsigned char> bytes, size_t& size);

/// Puts one of the system's in its place as a whole, for its owner and the system alone. False with the last error set.
bool KxSecretFile_Write(CkxTextView path, std::span<const unsigned char> bytes);

/// Where those lie, with a separator at its end. Empty when the system does not say.
KxWString KxSecretFile_SystemFolder();
