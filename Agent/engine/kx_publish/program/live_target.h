// Live things that somebody names: files and processes of this machine. Null, with what is wrong in `error`, for one
// that cannot be looked at.
#pragma once

#include <kx_util/target_info_process.h>

#include <string>
#include <string_view>

/// `file` is a path in UTF-8. Of a shortcut it is what that starts, where this can be found. For the user of `token`,
/// null being the caller's own.
CkxTargetInfoPtr KxLiveTarget_File(std::string_view file, void* token, std::string& error);

/// `token`, where given, takes the place of the process's own.
CkxTargetInfoPtr KxLiveTarget_Process(uint32_t pid, void* token, EkxProcessLookup& lookup, std::string& error);
