// The hash of a file, in the form in which policies have it.
#pragma once

#include "Common_CPP/util/bstr.h"
#include "Common_CPP/util/owned_str.h"

/// The SHA-256 of a file: the algorithm's name, and upper-case hexadecimal. False, both texts as they were, when the
/// file cannot be read. Of the second form the caller frees both texts with `KxBstr_Free`.
KX_UTIL_API bool KxUtil_GetHashString(const WCHAR* path, CkxUtilStr& algorithm, CkxUtilStr& hash);
KX_UTIL_API bool KxUtil_GetHashString(const WCHAR* path, KxBstr& algorithm, KxBstr& hash);
