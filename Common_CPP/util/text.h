// Comparing, searching and converting text: the one implementation that policies are judged with on every platform.
//
// Letters are compared after simple (one unit to one unit) Unicode upper-casing, without a locale, so that a policy
// gives the same answer on a Turkish desktop and in CI; and only where lower-casing brings a unit back, as file systems
// do it, so that no letter passes for another: nothing outside ASCII folds into it. Surrogate halves fold to
// themselves.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

namespace kx_text_detail {
KX_UTIL_API WCHAR FoldBeyondAscii(WCHAR unit);
}

/// The upper-case form of one unit; itself when it has none, or is not the lower-case form of that.
inline WCHAR KxText_Fold(WCHAR unit) {
  if (unit >= 0x80) [[unlikely]]
    return kx_text_detail::FoldBeyondAscii(unit);
  return static_cast<WCHAR>(unit >= KXW('a') && unit <= KXW('z') ? unit - 0x20 : unit);
}

/// Same units in the same order, folded unless `caseSensitive`. A view without a value equals an empty one.
KX_UTIL_API bool KxText_Equals(CkxTextView a, CkxTextView b, bool caseSensitive);

/// Position of the first occurrence of `part` in `text`, `CkxTextView::npos` when there is none. As with the system's
/// search functions an empty `part` occurs nowhere.
KX_UTIL_API size_t KxText_Find(CkxTextView text, CkxTextView part, bool caseSensitive);

/// Whether `text` begins with `prefix`; unlike a search, an empty prefix begins every text.
KX_UTIL_API bool KxText_StartsWith(CkxTextView text, CkxTextView prefix, bool caseSensitive);

/// Position of the first (last) `unit`, or npos.
KX_UTIL_API size_t KxText_FindUnit(CkxTextView text, WCHAR unit);
KX_UTIL_API size_t KxText_FindLastUnit(CkxTextView text, WCHAR unit);

/// Unicode white space (the White_Space property), the set that trimming removes.
KX_UTIL_API bool KxText_IsSpace(WCHAR unit);
KX_UTIL_API CkxTextView KxText_Trim(CkxTextView text);

/// Calls `visit(field)` for each non-empty field of `list` between `separator`s; stops and returns true as soon as it
/// returns true, else false.
template <class Visit>
bool KxText_AnyField(CkxTextView list, WCHAR separator, Visit visit) {
  while (!list.IsEmpty()) {
    const size_t end = KxText_FindUnit(list, separator);
    const CkxTextView field = list.Part(0, end);
    if (!field.IsEmpty() && visit(field)) return true;
    if (end == CkxTextView::npos) return false;
    list = list.Part(end + 1);
  }
  return false;
}

/// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD.
KX_UTIL_API std::string KxText_ToUtf8(CkxTextView text);

/// UTF-8 to UTF-16; nothing when the bytes are not well-formed UTF-8 (overlong forms and surrogates included).
KX_UTIL_API std::optional<KxWString> KxText_FromUtf8(std::string_view utf8);

/// Whether that would be something.
KX_UTIL_API bool KxText_IsUtf8(std::string_view utf8);
