// Live things that a person names: files and processes of this machine.
#pragma once

#include <kx_util/target_info_process.h>

#include <string>

/// `file` is a path in UTF-8; one that cannot be looked at is unusable input. Of a shortcut it is what that starts,
/// where this can be found. For the user of `token`, null being the caller's own.
CkxTargetInfoPtr KxLive_File(const std::string& file, void* token);

/// A number that is no process's is unusable input; the system may refuse to tell of one. `token`, where given, takes
/// the place of the process's own.
CkxTargetInfoPtr KxLive_Process(uint32_t pid, void* token);
