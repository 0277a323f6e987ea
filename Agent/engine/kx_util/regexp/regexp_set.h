// The units that a class of an expression takes, in the form that matching asks.
#pragma once

#include <array>

#include "Agent/engine/kx_util/regexp/regexp_tree.h"

/// Without case a unit belongs to a range when a unit that folds to the same lies in the range: `[a-z]` takes K and k.
/// A negated class takes exactly the units that its plain form does not.
class CkxRegExpSet {
 public:
  CkxRegExpSet(const SkxRegExpClass& written, bool caseSensitive);

  /// `folded` is the unit after folding; the unit itself for an expression that minds case.
  bool Takes(WCHAR unit, WCHAR folded) const {
    if (unit < asciiUnits) return (_ascii[unit / 64] >> (unit % 64) & 1) != 0;
    return InRanges(folded) != _negated;
  }

 private:
  static constexpr unsigned asciiUnits = 128;

  bool InRanges(WCHAR unit) const;

  std::array<uint64_t, asciiUnits / 64> _ascii{};  ///< the final answer for the units that nearly all text is made of
  KxWipedVector<SkxRegExpRange> _ranges;           ///< sorted, apart from each other, with the folds of their members
  bool _negated;
};
