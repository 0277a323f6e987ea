#include "Agent/engine/kx_util/wildcard.h"

#include <gtest/gtest.h>

#include <vector>

#include "Common_CPP/util/text.h"

namespace {

/// What a pattern means, said as plainly as it can be: a reference that needs exponential time.
bool Means(KxWStringView pattern, KxWStringView subject, bool caseSensitive) {
  if (pattern.empty()) return subject.empty();
  if (pattern[0] == KXW('*')) {
    return Means(pattern.substr(1), subject, caseSensitive) ||
           (!subject.empty() && Means(pattern, subject.substr(1), caseSensitive));
  }
  if (subject.empty()) return false;
  const bool fits = pattern[0] == KXW('?') || KxText_Equals(pattern.substr(0, 1), subject.substr(0, 1), caseSensitive);
  return fits && Means(pattern.substr(1), subject.substr(1), caseSensitive);
}

/// Every text of at most `length` units of `alphabet`.
std::vector<KxWString> AllTexts(KxWStringView alphabet, size_t length) {
  std::vector<KxWString> texts = {{}};
  for (size_t from = 0, round = 0; round < length; ++round) {
    const size_t end = texts.size();
    for (; from < end; ++from) {
      for (const WCHAR unit : alphabet) texts.push_back(texts[from] + unit);
    }
  }
  return texts;
}

TEST(Wildcard, IsWhatItsDefinitionSaysForEverySmallPatternAndSubject) {
  const std::vector<KxWString> subjects = AllTexts(KXW("aAb*"), 4);
  for (const KxWString& pattern : AllTexts(KXW("aB*?"), 5)) {
    for (const KxWString& subject : subjects) {
      for (const bool caseSensitive : {false, true}) {
        ASSERT_EQ(KxWildcard_Matches(pattern, subject, caseSensitive), Means(pattern, subject, caseSensitive))
            << KxText_ToUtf8(pattern) << " against " << KxText_ToUtf8(subject) << ", case " << caseSensitive;
      }
    }
  }
}

TEST(Wildcard, TakesNoMoreThanTheProductOfTheLengths) {
  KxWString pattern;
  for (int i = 0; i < 200; ++i) pattern += KXW("*a?");
  const KxWString subject(20'000, KXW('a'));
  EXPECT_TRUE(KxWildcard_Matches(pattern, subject, true));
  EXPECT_FALSE(KxWildcard_Matches(pattern + KXW("b"), subject, true));  // exponential for a naive matcher
}

TEST(Wildcard, FoldsBeyondAsciiAndReadsAtOddAddresses) {
  EXPECT_TRUE(KxWildcard_Matches(KXW("*\u00E4?"), KXW("x\u00C4y"), false));
  EXPECT_FALSE(KxWildcard_Matches(KXW("*\u00E4?"), KXW("x\u00C4y"), true));
  EXPECT_TRUE(KxWildcard_Matches(KXW("a??"), KXW("a\U0001F600"), true));  // two units

  const unsigned char record[] = "\xFF*\0.\0E\0X\0E\0rest";
  EXPECT_TRUE(KxWildcard_Matches(CkxTextView::FromBytes(record + 1, 10), KXW("a.exe"), false));
}

TEST(Wildcard, OfPathsTakesTheSeparatorsAsOne) {
  EXPECT_TRUE(KxWildcard_MatchesPath(KXW("c:\\users\\*\\app?\\"), KXW("C:/Users\\joe/App1/")));
  EXPECT_TRUE(KxWildcard_MatchesPath(KXW("c:/*"), KXW("C:\\")));
  EXPECT_FALSE(KxWildcard_MatchesPath(KXW("c:\\a?\\"), KXW("C:\\a\\")));
  EXPECT_FALSE(KxWildcard_Matches(KXW("c:\\*"), KXW("c:/a"), false));
}

TEST(Wildcard, KnowsAPattern) {
  EXPECT_TRUE(KxWildcard_IsPattern(KXW("a*")));
  EXPECT_TRUE(KxWildcard_IsPattern(KXW("?")));
  EXPECT_FALSE(KxWildcard_IsPattern(KXW("C:\\a[b].{c}")));
  EXPECT_FALSE(KxWildcard_IsPattern({}));
}

}  // namespace
