// What the ways of comparing texts are called.
#pragma once

#include <kx_util/match_str.h>

struct SkxCompareMode {
  EkxStrCompareAs code;
  const char* key;     ///< in documents and on the command line
  const WCHAR* words;  ///< before the pattern, where people read it: `starts with C:\`
};

inline constexpr SkxCompareMode kKxCompareModes[] = {
    {EkxStrCompareAs::StrEquals, "equals", KXW("equals")},
    {EkxStrCompareAs::StrStartsWith, "startsWith", KXW("starts with")},
    {EkxStrCompareAs::StrContains, "contains", KXW("contains")},
    {EkxStrCompareAs::StrWildcard, "wildcard", KXW("is like")},
    {EkxStrCompareAs::StrRegExp, "regExp", KXW("matches")},
};
