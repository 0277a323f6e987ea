// The folder in which the agent's service and its callers meet: sections and sockets. KX_RUNTIME_DIR, else /run/kx for
// root, else $XDG_RUNTIME_DIR/kx.
#pragma once

#include <string>

#include "Common_CPP/util/descriptor_posix.h"

/// Without a separator at its end; empty when the environment names no folder. A set-user-ID program ignores the
/// environment.
std::string KxPosix_RuntimeFolder();

/// Root and the effective user, who decide what this process sees anyway.
bool KxPosix_IsTrustedOwner(uid_t owner);

/// The folder, to open names in. None, with `errno` set (EACCES), when someone other than root or the effective user
/// owns it or could put another file in a name's place. `create` makes the folder, with mode 0755, when it is not
/// there.
CkxDescriptor KxPosix_OpenRuntimeFolder(bool create);
