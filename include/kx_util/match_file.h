// A file's name, hash, owner, signer and what it says of itself.
#pragma once

#include <kx_util/match_str.h>
#include <kx_util/target_info_file.h>

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

/// The owner is that user or group. An owner that cannot be read matches nothing.
KX_UTIL_API bool KxUtil_MatchFileOwner(const IkxOwnerProvider& provider, const CkxSid& owner);

/// A valid signature (status 4) whose signer's name matches; one by a weak digest (status 2) counts only when a second,
/// valid signer's name matches too.
KX_UTIL_API bool KxUtil_MatchPublisher(const IkxPublisherProvider& provider, CkxTextView pattern, bool caseSensitive,
                                       EkxStrCompareAs compareAs);
KX_UTIL_API bool KxUtil_MatchFilePublisher(const WCHAR* path, CkxTextView pattern, bool caseSensitive,
                                           EkxStrCompareAs compareAs);
/// A text of the version resource, by its name. What is not there matches nothing.
KX_UTIL_API bool KxUtil_MatchFileVersionInfo(const IkxVersionInfoProvider& provider, const WCHAR* field,
                                             CkxTextView pattern, bool caseSensitive, EkxStrCompareAs compareAs);
/// A property of a package, by its name. What is not there matches nothing.
KX_UTIL_API bool KxUtil_MatchFileMsiInfo(const CkxTargetInfoFile& file, const WCHAR* property, CkxTextView pattern,
                                         bool caseSensitive, EkxStrCompareAs compareAs);
