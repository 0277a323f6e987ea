// The match primitives: free functions that compare what a policy stores (the pattern, first) with what a description
// supplies (second). None throws; every fault is a false answer with an error line in the trace.
#pragma once

#include <kx_util/target_info_process.h>

#include "Common_CPP/util/bstr.h"

/// How texts are compared.
enum class EkxStrCompareAs : uint16_t {
  StrEquals = 1,
  StrStartsWith = 2,
  StrContains = 3,
  StrWildcard = 4,
  StrRegExp = 5
};

/// How bits are compared; `mask` is the policy's, `value` the target's.
enum class EkxBitmaskCompareAs : uint16_t {
  BitsEqual = 1,    ///< mask == value
  BitsAllSet = 2,   ///< every bit of the mask is set in the value
  BitsAnySet = 3,   ///< some bit of the mask is set in the value
  BitsNoneSet = 4,  ///< no bit of the mask is set in the value
};

/// Null matches null only. White space around the subject does not count, in the pattern it does.
KX_UTIL_API bool KxUtil_MatchStr(CkxTextView pattern, CkxTextView subject, bool caseSensitive,
                                 EkxStrCompareAs compareAs);
KX_UTIL_API bool KxUtil_IsValidRegExp(CkxTextView pattern, bool caseSensitive);

/// Tries out an expression, for whoever writes one: `rundll32 kx_util.dll,RegExpTest PATTERN SUBJECT` shows a message
/// box that says "Match" or "NO Match" (case does not count); with fewer arguments nothing. `window` and `instance` are
/// the system's handles.
extern "C" KX_UTIL_API void RegExpTestW(void* window, void* instance, WCHAR* commandLine, int show);

/// The last part of the provider's path, without regard to case.
KX_UTIL_API bool KxUtil_MatchFilename(const IkxPathProvider& provider, CkxTextView pattern, EkxStrCompareAs compareAs);

/// `hash` is "ALGORITHM##HEX", as providers give it; an absent one matches every file. `fileSize` -1 is any size; a
/// size that differs ends the match before anything is hashed.
KX_UTIL_API bool KxUtil_MatchHash(const IkxHashProvider& provider, CkxTextView algorithm, CkxTextView hash,
                                  int64_t fileSize);

/// The file name, then the hash.
KX_UTIL_API bool KxUtil_MatchFilenameAndHash(const IkxHashProvider& provider, CkxTextView namePattern,
                                             EkxStrCompareAs compareAs, CkxTextView algorithm, CkxTextView hash,
                                             int64_t fileSize);

/// The SHA-256 of a file: the algorithm's name, and upper-case hexadecimal. False, both texts as they were, when the
/// file cannot be read. Of the second form the caller frees both texts with `KxBstr_Free`.
KX_UTIL_API bool KxUtil_GetHashString(const WCHAR* path, CkxUtilStr& algorithm, CkxUtilStr& hash);
KX_UTIL_API bool KxUtil_GetHashString(const WCHAR* path, KxBstr& algorithm, KxBstr& hash);

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

/// The arguments of `commandLine`, its program taken off with the help of `programPath`. `StrEquals` compares argument
/// by argument, any other mode the text of the arguments.
KX_UTIL_API bool KxUtil_MatchCmdLineArguments(CkxTextView pattern, CkxTextView commandLine, CkxTextView programPath,
                                              bool caseSensitive, EkxStrCompareAs compareAs);

KX_UTIL_API bool KxUtil_MatchBitmask(uint32_t mask, uint32_t value, EkxBitmaskCompareAs compareAs);
KX_UTIL_API bool KxUtil_MatchFileOwner(const IkxOwnerProvider& provider, const CkxSid& owner);

/// A valid signature (status 4) whose signer's name matches; one by a weak digest (status 2) counts only when a second,
/// valid signer's name matches too.
KX_UTIL_API bool KxUtil_MatchPublisher(const IkxPublisherProvider& provider, CkxTextView pattern, bool caseSensitive,
                                       EkxStrCompareAs compareAs);
KX_UTIL_API bool KxUtil_MatchFilePublisher(const WCHAR* path, CkxTextView pattern, bool caseSensitive,
                                           EkxStrCompareAs compareAs);
KX_UTIL_API bool KxUtil_MatchFileVersionInfo(const IkxVersionInfoProvider& provider, const WCHAR* field,
                                             CkxTextView pattern, bool caseSensitive, EkxStrCompareAs compareAs);
KX_UTIL_API bool KxUtil_MatchFileMsiInfo(const CkxTargetInfoFile& file, const WCHAR* property, CkxTextView pattern,
                                         bool caseSensitive, EkxStrCompareAs compareAs);

/// `serviceList` is the target's services, separated by "/": it comes first here.
KX_UTIL_API bool KxUtil_MatchServiceName(CkxTextView serviceList, CkxTextView serviceName);
