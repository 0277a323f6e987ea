// Our folding against the system's, for every unit: the file system upper-cases by the same rule, and what it keeps
// apart must not be one to a policy. Both go by the Unicode data, so that there is no difference to explain.
#include <gtest/gtest.h>
#include <windows.h>

#include "Common_CPP/util/text.h"

namespace {

WCHAR SystemUpper(WCHAR unit) {
  WCHAR text[] = {unit, 0};
  CharUpperW(text);
  return text[0];
}

WCHAR InvariantUpper(WCHAR unit) {
  WCHAR upper = 0;
  return LCMapStringW(LOCALE_INVARIANT, LCMAP_UPPERCASE, &unit, 1, &upper, 1) == 1 ? upper : WCHAR{};
}

bool AreOneToTheSystem(WCHAR a, WCHAR b) { return CompareStringOrdinal(&a, 1, &b, 1, TRUE) == CSTR_EQUAL; }

TEST(FoldOfTheSystem, IsOursForEveryUnit) {
  size_t lettersThatFold = 0;
  for (unsigned number = 0; number <= 0xFFFF; ++number) {
    const auto unit = static_cast<WCHAR>(number);
    const WCHAR folded = KxText_Fold(unit);
    EXPECT_EQ(SystemUpper(unit), folded) << std::hex << number;
    EXPECT_EQ(InvariantUpper(unit), folded) << std::hex << number;
    EXPECT_TRUE(AreOneToTheSystem(unit, folded)) << std::hex << number;
    lettersThatFold += folded != unit;
  }
  EXPECT_GT(lettersThatFold, 1000u);
}

}  // namespace
