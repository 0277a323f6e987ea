// The folder in which the agent's service and its callers meet: sections and sockets. For root /run/kx, and for
// everybody else where it is there and root's; else $XDG_RUNTIME_DIR/kx. In a developer's build
// (Common_CPP/security/agent_trust.h) KX_RUNTIME_DIR comes before both.
//
// Root alone is believed to be the agent there; in a developer's build also the effective user, and only where the
// folder is its own.
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/text_view.h"

/// Without a separator at its end; empty when the environment names no folder. A set-user-ID program ignores the
/// environment. `systemFolder` is another one than /run/kx for tests only.
std::string KxPosix_RuntimeFolder(const std::string& systemFolder = "/run/kx");

/// Whether a file in `folder` that is `owner`'s may be the agent's.
bool KxPosix_IsTrustedOwner(const CkxDescriptor& folder, uid_t owner);

/// Whether what a file of the folder holds may be believed: it is a regular one, the agent's, and nobody else could
/// have written it. Else `errno` is EACCES, and `scope` writes a line that names it.
bool KxPosix_IsTrustedFile(const CkxDescriptor& folder, const std::string& file, const struct stat& status,
                           std::string_view scope);

/// The folder, to open names in. None, with `errno` set (EACCES) and a line in the trace, when someone else than may be
/// the agent owns it or could put another file in a name's place. `create` makes the folder, with mode 0755, when it is
/// not there.
CkxDescriptor KxPosix_OpenRuntimeFolder(bool create);

/// Whether `folder` is what would be opened now, without a line.
bool KxPosix_IsRuntimeFolder(const CkxDescriptor& folder);

/// The file `file` in the folder, made with mode 0600 where it is not there, and locked, for as long as it is open.
/// None with `errno` set: EBUSY when somebody else has it, EACCES, with a line in the trace, when it may be somebody
/// else's than the agent's.
CkxDescriptor KxPosix_LockFile(const CkxDescriptor& folder, const std::string& file);

/// The file of a named object in the folder: letters, digits, '_' and '-' stand for themselves, every other byte of the
/// name's UTF-8 form is "%XX". So names stay apart, none leaves the folder, and none is taken for a temporary file,
/// which begins with a dot; what begins a name begins its file. False with `errno` set for an empty name, one with a
/// NUL, and one that is too long.
bool KxPosix_RuntimeFileName(CkxTextView name, std::string& file);
