// Patterns that read well but say something else than their author meant. For the files of lint.h.
#pragma once

#include <kx_util/match_str.h>

#include <string>
#include <string_view>
#include <vector>

struct SkxPatternFault {
  const char* rule;  ///< of lint.h
  std::string message;
};

/// Of the pattern that a file's name is compared with in that way.
std::vector<SkxPatternFault> KxLint_NamePattern(CkxTextView pattern, EkxStrCompareAs compareAs);

/// Of the pattern that the folder of a file is compared with.
std::vector<SkxPatternFault> KxLint_LocationPattern(CkxTextView pattern);

/// Of any other.
std::vector<SkxPatternFault> KxLint_TextPattern(CkxTextView pattern, EkxStrCompareAs compareAs);
