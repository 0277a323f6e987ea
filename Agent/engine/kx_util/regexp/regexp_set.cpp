#include "Agent/engine/kx_util/regexp/regexp_set.h"

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

struct SkxFold {
  WCHAR unit;
  WCHAR folded;
};

/// The units that fold to another one, in order: about 1,200 of the 65,536.
const std::vector<SkxFold>& FoldingUnits() {
  static const std::vector<SkxFold> units = [] {
    std::vector<SkxFold> found;
    for (uint32_t code = 0; code <= 0xFFFF; ++code) {
      const WCHAR unit = static_cast<WCHAR>(code);
      if (KxText_Fold(unit) != unit) found.push_back({unit, KxText_Fold(unit)});
    }
    return found;
  }();
  return units;
}

/// Adds what the members of `range` fold to, when that is none of them. A wide range goes through the list of all
/// folding units, so that a pattern full of wide ranges costs no more than its size; a narrow one does without the
/// list.
void AddFolds(SkxRegExpRange range, KxWipedVector<SkxRegExpRange>& ranges) {
  constexpr int narrow = 512;
  const auto add = [&](WCHAR folded) {
    if (folded < range.first || folded > range.last) ranges.push_back({folded, folded});
  };
  if (range.last - range.first < narrow) {
    for (uint32_t code = range.first; code <= range.last; ++code) {
      add(KxText_Fold(static_cast<WCHAR>(code)));
    }
    return;
  }
  const std::vector<SkxFold>& all = FoldingUnits();
  auto at = std::lower_bound(all.begin(), all.end(), range.first,
                             [](const SkxFold& fold, WCHAR unit) { return fold.unit < unit; });
  for (; at != all.end() && at->unit <= range.last; ++at) add(at->folded);
}

void SortAndJoin(KxWipedVector<SkxRegExpRange>& ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const SkxRegExpRange& a, const SkxRegExpRange& b) { return a.first < b.first; });
  size_t kept = 0;
  for (const SkxRegExpRange range : ranges) {
    if (kept != 0 && range.first <= ranges[kept - 1].last) {
      ranges[kept - 1].last = std::max(ranges[kept - 1].last, range.last);
    } else {
      ranges[kept++] = range;
    }
  }
  ranges.resize(kept);
}

}  // namespace

CkxRegExpSet::CkxRegExpSet(const SkxRegExpClass& written, bool caseSensitive)
    : _ranges(written.ranges), _negated(written.negated) {
  SortAndJoin(_ranges);
  if (!caseSensitive) {
    // A folded unit folds to itself, so that members with another fold may stay: no folded unit equals them.
    const KxWipedVector<SkxRegExpRange> members = _ranges;
    for (const SkxRegExpRange range : members) AddFolds(range, _ranges);
    SortAndJoin(_ranges);
  }
  for (unsigned code = 0; code < asciiUnits; ++code) {
    const WCHAR unit = static_cast<WCHAR>(code);
    const bool takes = InRanges(caseSensitive ? unit : KxText_Fold(unit)) != _negated;
    _ascii[code / 64] |= uint64_t{takes} << (code % 64);
  }
}

bool CkxRegExpSet::InRanges(WCHAR unit) const {
  const auto after = std::upper_bound(_ranges.begin(), _ranges.end(), unit,
                                      [](WCHAR value, const SkxRegExpRange& range) { return value < range.first; });
  return after != _ranges.begin() && unit <= std::prev(after)->last;
}
