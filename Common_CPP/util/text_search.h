// Comparing and searching UTF-16 text by some sense of "the same unit": as it is, folded, or one that a matcher adds.
//
// Records are searched for every policy, so this goes four units at a time: one 8-byte load, and for ASCII (nearly all
// that policies and paths hold) the folding of all four at once. Anything else goes unit by unit.
//
// A search takes time in proportion to text and part together, whatever they hold. It tries position after position,
// which is fastest for text as it comes, until that has cost several times the way that it went; then a table of how
// the part repeats itself (4 or 8 bytes a unit of it) saves it from looking at a unit twice.
//
// A sense of "the same" is a struct of three functions:
//
//   One(unit)       the unit that stands for all that are the same
//   IsPlain(four)   whether `Four` can be used for these four units
//   Four(four)      `One` of each of them
#pragma once

#include <bit>
#include <vector>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

inline constexpr size_t kKxFour = 4;
inline constexpr uint64_t kKxEach = 0x0001'0001'0001'0001;  // times a unit: that unit in all four places

struct SkxExactUnits {
  static WCHAR One(WCHAR unit) { return unit; }
  static bool IsPlain(uint64_t) { return true; }
  static uint64_t Four(uint64_t four) { return four; }
};

struct SkxFoldedUnits {
  static WCHAR One(WCHAR unit) { return KxText_Fold(unit); }
  static bool IsPlain(uint64_t four) { return (four & (kKxEach * 0xFF80)) == 0; }
  static uint64_t Four(uint64_t ascii) {
    const uint64_t atLeastA = ascii + kKxEach * (0x80 - 'a');
    const uint64_t beyondZ = ascii + kKxEach * (0x80 - 'z' - 1);
    const uint64_t lower = atLeastA & ~beyondZ & (kKxEach * 0x80);
    return ascii - (lower >> 2);  // 0x80 becomes the 0x20 between the cases
  }
};

inline WCHAR KxUnits_At(const unsigned char* text, size_t index) {
  return KxBytes_Load<WCHAR>(text + index * sizeof(WCHAR));
}
inline uint64_t KxUnits_FourAt(const unsigned char* text, size_t index) {
  return KxBytes_Load<uint64_t>(text + index * sizeof(WCHAR));
}

/// `count` when that many units are the same; otherwise a number below it of units that are.
template <class Units>
size_t KxUnits_CountSame(const unsigned char* a, const unsigned char* b, size_t count) {
  const auto areSame = [&](size_t at) { return Units::One(KxUnits_At(a, at)) == Units::One(KxUnits_At(b, at)); };
  size_t at = 0;
  for (; count - at >= kKxFour; at += kKxFour) {
    const uint64_t fourA = KxUnits_FourAt(a, at);
    const uint64_t fourB = KxUnits_FourAt(b, at);
    if (fourA == fourB) continue;
    const bool same = Units::IsPlain(fourA | fourB)
                          ? Units::Four(fourA) == Units::Four(fourB)
                          : areSame(at) && areSame(at + 1) && areSame(at + 2) && areSame(at + 3);
    if (!same) return at;
  }
  while (at < count && areSame(at)) ++at;
  return at;
}

/// Position in [from, end) of the first unit for which `wanted` stands, or npos.
template <class Units>
size_t KxUnits_FindUnit(const unsigned char* text, size_t from, size_t end, WCHAR wanted) {
  while (from < end) {
    if (end - from >= kKxFour) {
      const uint64_t four = KxUnits_FourAt(text, from);
      if (Units::IsPlain(four)) {
        // The first unit that is 0; a borrow disturbs only places after it.
        const uint64_t differences = Units::Four(four) ^ (kKxEach * wanted);
        const uint64_t zeros = (differences - kKxEach) & ~differences & (kKxEach * 0x8000);
        if (zeros != 0) return from + static_cast<size_t>(std::countr_zero(zeros)) / 16;
        from += kKxFour;
        continue;
      }
    }
    if (Units::One(KxUnits_At(text, from)) == wanted) return from;
    ++from;
  }
  return CkxTextView::npos;
}

/// The search that looks at no unit twice. `part` is not empty.
template <class Units>
size_t KxUnits_FindByRepeats(CkxTextView text, CkxTextView part) {
  const auto same = [](WCHAR a, WCHAR b) { return Units::One(a) == Units::One(b); };
  std::vector<size_t> repeats(part.Size());  // how many of the part's first units end at each of its positions as well
  for (size_t at = 1, units = 0; at < part.Size(); ++at) {
    while (units != 0 && !same(part[at], part[units])) units = repeats[units - 1];
    if (same(part[at], part[units])) ++units;
    repeats[at] = units;
  }
  for (size_t at = 0, units = 0; at < text.Size(); ++at) {
    while (units != 0 && !same(text[at], part[units])) units = repeats[units - 1];
    if (same(text[at], part[units])) ++units;
    if (units == part.Size()) return at + 1 - units;
  }
  return CkxTextView::npos;
}

/// Position of the first occurrence of `part`, which is not empty, or npos.
template <class Units>
size_t KxUnits_Find(CkxTextView text, CkxTextView part) {
  constexpr size_t kFree = 256;
  constexpr size_t kFactor = 4;
  if (part.Size() > text.Size()) return CkxTextView::npos;
  const size_t end = text.Size() - part.Size() + 1;  // of the positions at which `part` can begin
  const WCHAR first = Units::One(part.Front());
  size_t compared = 0;
  for (size_t at = 0;; ++at) {
    at = KxUnits_FindUnit<Units>(text.Bytes(), at, end, first);
    if (at == CkxTextView::npos) return at;
    const size_t same = KxUnits_CountSame<Units>(text.Bytes() + at * sizeof(WCHAR), part.Bytes(), part.Size());
    if (same == part.Size()) return at;
    compared += same;
    if (compared <= kFree + kFactor * at) continue;
    const size_t found = KxUnits_FindByRepeats<Units>(text.Part(at + 1), part);
    return found == CkxTextView::npos ? found : at + 1 + found;
  }
}
