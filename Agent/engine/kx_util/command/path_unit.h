// How two units of a path compare: case is folded and the two separators are one, so that a path spelled with slashes
// or in capitals is the same path to a policy.
#pragma once

#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text_search.h"

inline WCHAR KxPathUnit_Fold(WCHAR unit) { return unit == KXW('/') ? KXW('\\') : KxText_Fold(unit); }

inline bool KxPathUnit_AreSame(WCHAR a, WCHAR b) { return a == b || KxPathUnit_Fold(a) == KxPathUnit_Fold(b); }

/// The same for searches.
struct SkxPathUnits {
  static WCHAR One(WCHAR unit) { return KxPathUnit_Fold(unit); }
  static bool IsPlain(uint64_t four) { return SkxFoldedUnits::IsPlain(four); }
  static uint64_t Four(uint64_t ascii) {
    const uint64_t slashes = (kKxEach * 0x80 - (ascii ^ (kKxEach * '/'))) & (kKxEach * 0x80);
    return SkxFoldedUnits::Four(ascii) ^ ((slashes >> 7) * ('/' ^ '\\'));
  }
};
