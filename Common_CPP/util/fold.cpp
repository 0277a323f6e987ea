// Folding beyond ASCII: the simple upper-case mapping of the Unicode data, unit by unit, with nothing left out.
//
// Deliberately so, since it is what the data says and leaves no list of exceptions to agree on:
//   - two lower-case letters fold into ASCII: U+0131 (dotless i) to 'I' and U+017F (long s) to 'S';
//   - U+00B5 (micro sign) folds to U+039C (capital mu), and so equals U+03BC; U+03C2 (final sigma) equals U+03C3;
//   - title-case digraphs fold with their lower-case forms: U+01C5 and U+01C6 to U+01C4;
//   - U+00DF (sharp s) stays, as its upper case is two letters; U+212A (Kelvin sign) stays, as it is upper case
//   already,
//     and does not equal 'k';
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
