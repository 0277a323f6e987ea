// Folding beyond ASCII: the simple upper-case mapping of the Unicode data, of those units that lower-casing brings
// back.
//
// So do file systems. Names that they keep apart must not be one name to a policy, or whoever may make a folder
// `C:\Program Files` spelled with a dotless i is inside the real one. Of several forms of a letter one has the capital:
//   - dotless i (U+0131) and long s (U+017F) stay: nothing outside ASCII folds into it, and nothing inside out of it;
//   - micro sign (U+00B5), final sigma (U+03C2) and Greek letters as symbols stay, apart from the letters;
//   - title-case digraphs (U+01C5) stay; the lower-case ones (U+01C6) fold to the capitals (U+01C4);
//   - sharp s (U+00DF) stays, as its upper case is two letters; Kelvin sign (U+212A) and dotted I (U+0130) stay, as
//   they
//     are upper case already, and do not equal 'k' and 'i';
//   - surrogate halves stay: letters beyond U+FFFF are compared as they are.
#include <array>

#include "Common_CPP/util/text.h"

namespace {

struct SkxFoldRange {
  uint32_t first;
  uint32_t last;
  uint32_t stride;
  int32_t delta;
};

constexpr SkxFoldRange kRanges[] = {
#include "Common_CPP/util/fold_table.inc"
};

// The table is in two stages: a block of 64 units names its row of deltas, and row 0 is the one where nothing changes.
constexpr uint32_t kBlockUnits = 64;
constexpr size_t kBlocks = 0x10000 / kBlockUnits;

struct SkxRows {
  std::array<uint8_t, kBlocks> rowOfBlock{};
  uint8_t count = 1;
};

constexpr SkxRows AssignRows() {
  SkxRows rows;
  for (const SkxFoldRange& range : kRanges) {
    for (uint32_t unit = range.first; unit <= range.last; unit += range.stride) {
      uint8_t& row = rows.rowOfBlock[unit / kBlockUnits];
      if (row == 0) row = rows.count++;
    }
  }
  return rows;
}

constexpr SkxRows kRows = AssignRows();
using Deltas = std::array<uint16_t, kRows.count * size_t{kBlockUnits}>;

constexpr Deltas FillDeltas() {
  Deltas deltas{};
  for (const SkxFoldRange& range : kRanges) {
    for (uint32_t unit = range.first; unit <= range.last; unit += range.stride) {
      deltas[kRows.rowOfBlock[unit / kBlockUnits] * kBlockUnits + unit % kBlockUnits] =
          static_cast<uint16_t>(range.delta);
    }
  }
  return deltas;
}

constexpr Deltas kDeltas = FillDeltas();

}  // namespace

WCHAR kx_text_detail::FoldBeyondAscii(WCHAR unit) {
  return static_cast<WCHAR>(unit + kDeltas[kRows.rowOfBlock[unit / kBlockUnits] * kBlockUnits + unit % kBlockUnits]);
}
