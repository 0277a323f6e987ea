// The folder in which the agent's service and its callers meet: sections and sockets. KX_RUNTIME_DIR, else /run/kx for
// root, else $XDG_RUNTIME_DIR/kx.
#pragma once

#include <string>

#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/text_view.h"

/// Without a separator at its end; empty when the environment names no folder. A set-user-ID program ignores the
/// environment.
std::string KxPosix_RuntimeFolder();

/// Root and the effective user, who decide what this process sees anyway.
bool KxPosix_IsTrustedOwner(uid_t owner);

/// The folder, to open names in. None, with `errno` set (EACCES), when someone other than root or the effective user
/// owns it or could put another file in a name's place. `create` makes the folder, with mode 0755, when it is not
/// there.
CkxDescriptor KxPosix_OpenRuntimeFolder(bool create);

/// The file of a named object in the folder: letters, digits, '_' and '-' stand for themselves, every other byte of the
/// name's UTF-8 form is "%XX". So names stay apart, none leaves the folder, and none is taken for a temporary file,
/// which begins with a dot; what begins a name begins its file. False with `errno` set for an empty name, one with a
/// NUL, and one that is too long.
bool KxPosix_RuntimeFileName(CkxTextView name, std::string& file);
