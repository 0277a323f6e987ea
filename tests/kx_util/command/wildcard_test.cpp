#include "Agent/engine/kx_util/command/wildcard.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "Agent/engine/kx_util/command/path_unit.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

/// What a pattern means, said as plainly as it can be: from its end backwards, which ends of the subject each end of it
/// matches. The subject has less than 64 units.
bool Means(KxWStringView pattern, KxWStringView subject, bool (*same)(WCHAR, WCHAR)) {
  uint64_t ends = uint64_t{1} << subject.size();  // bit n: what begins at unit n matches
  for (size_t p = pattern.size(); p-- > 0;) {
    const uint64_t behind = ends;
    ends = pattern[p] == KXW('*') ? behind : 0;
    for (size_t s = subject.size(); s-- > 0;) {
      const bool takes = pattern[p] == KXW('?') || pattern[p] == KXW('*') || same(pattern[p], subject[s]);
      if (takes) ends |= ((pattern[p] == KXW('*') ? ends : behind) >> 1) & (uint64_t{1} << s);
    }
  }
  return (ends & 1) != 0;
}

bool AreExact(WCHAR a, WCHAR b) { return a == b; }
bool AreFolded(WCHAR a, WCHAR b) { return KxText_Fold(a) == KxText_Fold(b); }

/// By all three ways of comparing units.
void ExpectMeaning(const KxWString& pattern, const KxWString& subject) {
  const auto holds = [&](bool matches, bool (*same)(WCHAR, WCHAR)) {
    ASSERT_EQ(matches, Means(pattern, subject, same))
        << KxText_ToUtf8(pattern) << " against " << KxText_ToUtf8(subject);
  };
  holds(KxWildcard_Matches(pattern, subject, true), AreExact);
  holds(KxWildcard_Matches(pattern, subject, false), AreFolded);
  holds(KxWildcard_MatchesPath(pattern, subject), KxPathUnit_AreSame);
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
    for (const KxWString& subject : subjects) ExpectMeaning(pattern, subject);
    if (HasFatalFailure()) return;
  }
}

TEST(Wildcard, IsWhatItsDefinitionSaysForPiecesThatOverlapAndRepeat) {
  constexpr WCHAR kUnits[] = {'a', 'A', '/', '\\', 0xE4, 0xC4, 'b', 'B'};
  std::mt19937 random(20240613);
  const auto pick = [&random](size_t below) { return random() % below; };
  for (int round = 0; round < 4000 && !HasFatalFailure(); ++round) {
    const size_t kinds = 1 + pick(std::size(kUnits));
    KxWString subject;
    for (size_t left = pick(40); left != 0; --left) subject += kUnits[pick(kinds)];
    KxWString pattern = pick(2) == 0 ? KXW("*") : KXW("");
    for (size_t pieces = pick(5); pieces != 0; --pieces) {
      KxWString piece = subject.substr(pick(subject.size() + 1), pick(9));
      for (WCHAR& unit : piece) {
        if (pick(6) == 0) unit = pick(2) == 0 ? KXW('?') : kUnits[pick(kinds)];
      }
      pattern += piece;
      if (pick(4) != 0) pattern += KXW('*');
    }
    ExpectMeaning(pattern, subject);
  }
}

/// A match that nobody counts takes no more than the product of the lengths; one of an evaluation what that may cost.
TEST(Wildcard, TakesNoMoreThanTheEvaluationMay) {
  KxWString pattern;
  for (int i = 0; i < 200; ++i) pattern += KXW("*a?");
  const KxWString subject(20'000, KXW('a'));
  EXPECT_TRUE(KxWildcard_Matches(pattern, subject, true));
  EXPECT_FALSE(KxWildcard_Matches(pattern + KXW("b"), subject, true));  // exponential for a naive matcher

  KxWString plain(10'000, KXW('a'));
  KxWString withAnyUnits = plain;
  withAnyUnits[1] = KXW('?');
  const uint64_t before = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(1'000'000);
  for (const auto& [piece, fault] :
       {std::pair(plain, EkxEvaluationFault::None), {withAnyUnits, EkxEvaluationFault::WorkLimit}}) {
    const CkxEntryScope evaluation;
    EXPECT_FALSE(KxWildcard_Matches(KXW("*") + piece + KXW("b*"), subject, false));
    EXPECT_EQ(KxFault_Current(), fault);
  }
  KxUtil_SetWorkLimit(before);
}

TEST(Wildcard, ReadsUnitsAndAtOddAddresses) {
  EXPECT_TRUE(KxWildcard_Matches(KXW("a??"), KXW("a\U0001F600"), true));  // two units
  const unsigned char record[] = "\xFF*\0.\0E\0X\0E\0rest";
  EXPECT_TRUE(KxWildcard_Matches(CkxTextView::FromBytes(record + 1, 10), KXW("a.exe"), false));
}

TEST(Wildcard, KnowsAPattern) {
  EXPECT_TRUE(KxWildcard_IsPattern(KXW("a*")));
  EXPECT_TRUE(KxWildcard_IsPattern(KXW("?")));
  EXPECT_FALSE(KxWildcard_IsPattern(KXW("C:\\a[b].{c}")));
  EXPECT_FALSE(KxWildcard_IsPattern({}));
}

}  // namespace
