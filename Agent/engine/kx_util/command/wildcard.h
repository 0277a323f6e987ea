// Wildcard patterns: "*" is any run of units, the empty one included, "?" is exactly one unit, any other unit is
// itself. Both ends are anchored. There is no way to write a literal asterisk or question mark.
//
//   KxWildcard_Matches(KXW("*.exe"), name, false)
//
// A unit is a UTF-16 unit: a character beyond the basic plane takes two "?". The time is in proportion to both lengths
// together, but for the pieces between asterisks that have a "?" themselves: these may take the product, which is spent
// from what the evaluation may cost. No match when that is used up, with the fault noted.
#pragma once

#include "Common_CPP/util/text_view.h"

bool KxWildcard_IsPattern(CkxTextView text);

bool KxWildcard_Matches(CkxTextView pattern, CkxTextView subject, bool caseSensitive);

/// For paths: case is folded and the two separators are one. "*" and "?" match separators too.
bool KxWildcard_MatchesPath(CkxTextView pattern, CkxTextView path);
