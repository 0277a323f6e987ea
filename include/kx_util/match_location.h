// Where a file lies: types of drives, folders.
#pragma once

#include <kx_util/target_providers.h>

/// "UNKNOWN", "REMOVABLE", "FIXED", "REMOTE", "CDROM" or "RAMDISK": where `path` lies, as the user of `token` sees it.
KX_UTIL_API const WCHAR* KxUtil_GetFileLocationType(void* token, CkxTextView path);
KX_UTIL_API const WCHAR* KxUtil_GetFileLocationType(const IkxPathProvider& provider);
KX_UTIL_API bool KxUtil_IsFileLocationTypeFixed(CkxTextView path);
KX_UTIL_API bool KxUtil_IsEqualLocationType(CkxTextView a, CkxTextView b);

/// One type, or "ANY".
KX_UTIL_API bool KxUtil_MatchFileLocationType(const IkxPathProvider& provider, CkxTextView type);

/// Types separated by ","; absent, empty or "ANY" matches every place. Blanks count.
KX_UTIL_API bool KxUtil_MatchFileLocationTypes(const IkxPathProvider& provider, CkxTextView typeList);

/// The types, then the folder: without wildcards the target's folder is the pattern's (`withSubfolders`: or below it),
/// with them the path without its file name matches as a whole. "CDROM:" stands for the optical drive that the target
/// is on.
KX_UTIL_API bool KxUtil_MatchFileLocation(const IkxPathProvider& provider, CkxTextView typeList,
                                          CkxTextView locationPattern, bool withSubfolders);
