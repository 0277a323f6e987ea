#include "Agent/engine/kx_util/wildcard.h"

#include "Agent/engine/kx_util/path_unit.h"

namespace {

/// Greedy, with one back-tracking point. When the part behind an asterisk does not fit, it is tried one unit further
/// on. Earlier asterisks need no second try: whatever they could give up, the last one can take.
template <class Same>
bool Matches(CkxTextView pattern, CkxTextView subject, Same same) {
  size_t inPattern = 0;
  size_t inSubject = 0;
  size_t behindAsterisk = CkxTextView::npos;
  size_t retryAt = 0;
  const auto fits = [&] {
    return inPattern < pattern.Size() &&
           (pattern[inPattern] == KXW('?') || same(pattern[inPattern], subject[inSubject]));
  };
  while (inSubject < subject.Size()) {
    if (inPattern < pattern.Size() && pattern[inPattern] == KXW('*')) {
      behindAsterisk = ++inPattern;
      retryAt = inSubject;
    } else if (fits()) {
      ++inPattern;
      ++inSubject;
    } else if (behindAsterisk != CkxTextView::npos) {
      inPattern = behindAsterisk;
      inSubject = ++retryAt;
    } else {
      return false;
    }
  }
  while (inPattern < pattern.Size() && pattern[inPattern] == KXW('*')) ++inPattern;
  return inPattern == pattern.Size();
}

}  // namespace

bool KxWildcard_IsPattern(CkxTextView text) {
  return KxText_FindUnit(text, KXW('*')) != CkxTextView::npos || KxText_FindUnit(text, KXW('?')) != CkxTextView::npos;
}

bool KxWildcard_Matches(CkxTextView pattern, CkxTextView subject, bool caseSensitive) {
  if (caseSensitive) return Matches(pattern, subject, [](WCHAR a, WCHAR b) { return a == b; });
  return Matches(pattern, subject, [](WCHAR a, WCHAR b) { return a == b || KxText_Fold(a) == KxText_Fold(b); });
}

bool KxWildcard_MatchesPath(CkxTextView pattern, CkxTextView path) {
  return Matches(pattern, path, KxPathUnit_AreSame);
}
