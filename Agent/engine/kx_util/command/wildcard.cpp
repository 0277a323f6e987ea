#include "Agent/engine/kx_util/command/wildcard.h"

#include <utility>

#include "Agent/engine/kx_util/command/path_unit.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

constexpr WCHAR kAnyRun = KXW('*');
constexpr WCHAR kAnyUnit = KXW('?');

/// Matches the pieces between asterisks. The first and the last one have their places; of each in between the first
/// occurrence is taken, behind that of the piece before: whatever a later one could give, the next asterisk can take.
template <class Units>
class CkxPieces {
 public:
  static bool Match(CkxTextView pattern, CkxTextView subject) {
    CkxPieces pieces(subject, HasAnyUnit(pattern));
    const size_t first = KxText_FindUnit(pattern, kAnyRun);
    if (first == CkxTextView::npos) return pattern.Size() == subject.Size() && pieces.Fits(pattern, subject);
    const size_t last = KxText_FindLastUnit(pattern, kAnyRun);
    const CkxTextView head = pattern.Part(0, first);
    const CkxTextView tail = pattern.Part(last + 1);
    if (subject.Size() < head.Size() + tail.Size()) return false;
    const size_t tailAt = subject.Size() - tail.Size();
    if (!pieces.Fits(head, subject) || !pieces.Fits(tail, subject.Part(tailAt))) return false;

    pieces._subject = subject.Part(head.Size(), tailAt - head.Size());
    return !KxText_AnyField(pattern.Part(first, last - first), kAnyRun,
                            [&](CkxTextView piece) { return !pieces.Take(piece); });
  }

 private:
  static constexpr size_t kSpendAtOnce = 4096;

  CkxPieces(CkxTextView subject, bool haveAnyUnits) : _subject(subject), _haveAnyUnits(haveAnyUnits) {}

  static bool HasAnyUnit(CkxTextView text) { return KxText_FindUnit(text, kAnyUnit) != CkxTextView::npos; }

  /// Whether the subject, which is long enough, begins with the piece.
  bool Fits(CkxTextView piece, CkxTextView subject) const {
    const size_t count = piece.Size();
    return _haveAnyUnits ? CountFitting(piece, subject) == count
                         : KxUnits_CountSame<Units>(piece.Bytes(), subject.Bytes(), count) == count;
  }

  static size_t CountFitting(CkxTextView piece, CkxTextView subject) {
    const auto fits = [](WCHAR wanted, WCHAR unit) {
      return wanted == unit || wanted == kAnyUnit || Units::One(wanted) == Units::One(unit);
    };
    size_t at = 0;
    while (at < piece.Size() && fits(piece[at], subject[at])) ++at;
    return at;
  }

  /// Takes the subject up to the end of the first occurrence.
  bool Take(CkxTextView piece) {
    const bool hasAnyUnit = _haveAnyUnits && HasAnyUnit(piece);
    const size_t at = hasAnyUnit ? FindWithAnyUnit(piece) : KxUnits_Find<Units>(_subject, piece);
    if (at == CkxTextView::npos) return false;
    _subject = _subject.Part(at + piece.Size());
    return true;
  }

  /// Tries each position, for up to the product of both lengths: what that costs is counted.
  size_t FindWithAnyUnit(CkxTextView piece) {
    if (piece.Size() > _subject.Size()) return CkxTextView::npos;
    size_t known = 0;  // the first unit of the piece that is one
    while (known < piece.Size() && piece[known] == kAnyUnit) ++known;
    if (known == piece.Size()) return 0;
    const size_t end = _subject.Size() - piece.Size() + 1;
    for (size_t at = 0;; ++at) {
      at = KxUnits_FindUnit<Units>(_subject.Bytes(), at + known, end + known, Units::One(piece[known]));
      if (at == CkxTextView::npos) return at;
      at -= known;
      const size_t fitting = CountFitting(piece, _subject.Part(at));
      if (fitting == piece.Size()) return at;
      if (!Spend(fitting + 1)) return CkxTextView::npos;
    }
  }

  bool Spend(size_t units) {
    _spent += units;
    return _spent < kSpendAtOnce || KxWork_Spend(std::exchange(_spent, 0));
  }

  CkxTextView _subject;  // what is left of it
  const bool _haveAnyUnits;
  size_t _spent = 0;
};

}  // namespace

bool KxWildcard_IsPattern(CkxTextView text) {
  return KxText_FindUnit(text, kAnyRun) != CkxTextView::npos || KxText_FindUnit(text, kAnyUnit) != CkxTextView::npos;
}

bool KxWildcard_Matches(CkxTextView pattern, CkxTextView subject, bool caseSensitive) {
  return caseSensitive ? CkxPieces<SkxExactUnits>::Match(pattern, subject)
                       : CkxPieces<SkxFoldedUnits>::Match(pattern, subject);
}

bool KxWildcard_MatchesPath(CkxTextView pattern, CkxTextView path) {
  return CkxPieces<SkxPathUnits>::Match(pattern, path);
}
