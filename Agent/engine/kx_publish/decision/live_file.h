// A file of this machine, as a person names it.
#pragma once

#include <kx_util/target_info_file.h>

#include <string>

/// `file` is a path in UTF-8. Of a shortcut it is what that starts, where this can be found. For the user of `token`,
/// null being the caller's own. Null where the file cannot be looked at. Throws std::bad_alloc.
CkxTargetInfoPtr KxLiveFile_Describe(const std::string& file, void* token);
