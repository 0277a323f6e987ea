// Texts, and how they are compared.
#pragma once

#include "Common_CPP/util/text_view.h"

/// How texts are compared.
enum class EkxStrCompareAs : uint16_t {
  StrEquals = 1,
  StrStartsWith = 2,
  StrContains = 3,
  StrWildcard = 4,
  StrRegExp = 5
};

/// Null matches null only. White space around the subject does not count, in the pattern it does.
KX_UTIL_API bool KxUtil_MatchStr(CkxTextView pattern, CkxTextView subject, bool caseSensitive,
                                 EkxStrCompareAs compareAs);
/// Whether the pattern is an expression that can be matched.
KX_UTIL_API bool KxUtil_IsValidRegExp(CkxTextView pattern, bool caseSensitive);
