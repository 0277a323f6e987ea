#include "Agent/engine/kx_util/regexp/regexp.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/kx_util/regexp/regexp_test_texts.h"
#include "tests/support/data_rows.h"
#include "tests/support/trace_capture.h"

namespace {

std::string Search(const KxWString& pattern, const KxWString& subject, bool caseSensitive) {
  CkxRegExp expression;
  const SkxRegExpError error = expression.Parse(pattern, caseSensitive);
  if (!error.IsOk()) return "error " + std::to_string(static_cast<unsigned>(error.code));
  SkxRegExpMatch match;
  const bool found = expression.Match(subject, match);
  return Show(found, match);
}

TEST(RegExp, ErrorsNameCodeAndPlace) {
  KxTest_ForRows<std::string, KxWString, uint64_t, uint64_t>(
      "regexp/errors.txt", [](const auto&, const auto& pattern, uint64_t code, uint64_t position) {
        CkxRegExp expression;
        const SkxRegExpError error = expression.Parse(pattern, true);
        EXPECT_EQ(static_cast<uint64_t>(error.code), code);
        EXPECT_EQ(error.position, position);
        size_t length = 0;
        EXPECT_TRUE(error.IsOk() || !expression.MatchPrefix(KXW("a"), length));
      });
  CkxRegExp expression;
  EXPECT_EQ(expression.Parse(CkxTextView(), true).code, EkxRegExpError::InvalidInput);
  EXPECT_FALSE(expression.MatchWhole(KXW("")));
}

TEST(RegExp, FindsThePreferredMatch) {
  KxTest_ForRows<std::string, KxWString, KxWString, std::string>(
      "regexp/searches.txt", [](const auto&, const auto& pattern, const auto& subject, const auto& found) {
        EXPECT_EQ(Search(pattern, subject, true), found);
      });
}

TEST(RegExp, PrefixAndWhole) {
  KxTest_ForRows<KxWString, KxWString, std::optional<uint64_t>, bool>(
      "regexp/beginnings.txt", [](const auto& pattern, const auto& subject, const auto& prefix, bool whole) {
        CkxRegExp expression;
        ASSERT_TRUE(expression.Parse(pattern, true).IsOk());
        size_t length = 0;
        EXPECT_EQ(expression.MatchPrefix(subject, length) ? std::optional<uint64_t>(length) : std::nullopt, prefix);
        EXPECT_EQ(expression.MatchWhole(subject), whole);
      });
}

TEST(RegExp, Case) {
  KxTest_ForRows<std::string, KxWString, KxWString, std::string, std::string>(
      "regexp/letters.txt",
      [](const auto&, const auto& pattern, const auto& subject, const auto& minding, const auto& folding) {
        EXPECT_EQ(Search(pattern, subject, true), minding);
        EXPECT_EQ(Search(pattern, subject, false), folding);
      });
  EXPECT_EQ(Search(KXW(".[\xd800-\xdbff]"), KXW("a\U0001F600"), false), "0-2") << "halves of a pair are units";
  // A class takes a unit when one of its members folds to the same, by the definition itself, for every unit.
  for (const KxWString& members :
       {KxWString(KXW("[a-z]")), KxWString(KXW("[\u00b5-\u0180]")), KxWString(KXW("[\u0250-\u2c65]"))}) {
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(members, false).IsOk());
    std::vector<bool> folds(0x10000);
    for (uint32_t member = members[1]; member <= members[3]; ++member) {
      folds[KxText_Fold(static_cast<WCHAR>(member))] = true;
    }
    for (uint32_t code = 0; code <= 0xFFFF; ++code) {
      const KxWString unit(1, static_cast<WCHAR>(code));
      ASSERT_EQ(expression.MatchWhole(unit), folds[KxText_Fold(unit[0])]) << code;
    }
  }
}

TEST(RegExp, NulsAndOddAddresses) {
  const KxWString subject(KXW("a\0b"), 3);
  for (const KxWString& pattern : {KxWString(KXW("a.b")), KxWString(KXW("a[^b]b")), subject}) {
    EXPECT_EQ(Search(pattern, subject, true), "0-3");
  }
  constexpr unsigned char kAtOddAddress[] = {0xFF, 'x', 0, 'a', 0, 'a', 0, 'b', 0};
  CkxRegExp expression;
  ASSERT_TRUE(expression.Parse(KXW("x!ba+b"), false).IsOk());
  EXPECT_TRUE(expression.MatchWhole(CkxTextView::FromBytes(kAtOddAddress + 1, 8)));
}

TEST(RegExp, EveryPrefixOfAnExpressionParsesOrFails) {
  const std::string pattern = "^{[^a-c\\]x-]+?}(\\q|!(a|!b+).*)\\0??\\n$";
  for (size_t size = 0; size <= pattern.size(); ++size) {
    CkxRegExp expression;
    const SkxRegExpError error = expression.Parse(Wide(pattern.substr(0, size)), false);
    EXPECT_LE(error.position, size);
    SkxRegExpMatch match;
    EXPECT_TRUE(error.IsOk() || !expression.Match(KXW("dd"), match)) << size;
    EXPECT_TRUE(error.IsOk() || size != pattern.size());
  }
}

std::string Repeated(const std::string& text, size_t times) {
  std::string all;
  for (size_t i = 0; i < times; ++i) all += text;
  return all;
}

TEST(RegExp, Limits) {
  const size_t depth = kxRegExpMaxDepth;
  const struct {
    const char* name;
    std::string pattern;
    unsigned code;
    size_t position;
  } cases[] = {
      {"deepest", Repeated("(", depth) + "a" + Repeated(")", depth), 0, 0},
      {"too deep", Repeated("(", depth + 1) + "a" + Repeated(")", depth + 1), 1, depth},
      {"never closed", Repeated("(", 30000), 1, depth},
      {"negations too deep", Repeated("!", 30000) + "a", 1, depth},
      {"abbreviation too deep", Repeated("(", depth) + "\\q" + Repeated(")", depth), 1, depth},
      {"most groups", Repeated("{a}", kxRegExpMaxGroups), 0, 0},
      {"too many groups", Repeated("{a}", kxRegExpMaxGroups + 1), 1, 3 * kxRegExpMaxGroups},
      {"longest program", Repeated("a", kxRegExpMaxProgram - 1), 0, 0},
      {"program too long", Repeated("a", kxRegExpMaxProgram), 1, 0},
      {"expands too far", Repeated("(\\q|\\n?)!\\q", kxRegExpMaxProgram / 16), 1, 0},
      {"pattern too long", Repeated("a", kxRegExpMaxPattern + 1), 1, kxRegExpMaxPattern},
  };
  for (const auto& test : cases) {
    CkxRegExp expression;
    const SkxRegExpError error = expression.Parse(Wide(test.pattern), true);
    EXPECT_EQ(static_cast<unsigned>(error.code), test.code) << test.name;
    EXPECT_EQ(error.position, test.position) << test.name;
  }

  CkxTraceCapture errors;
  const CkxEntryScope evaluation;
  CkxRegExp any;
  ASSERT_TRUE(any.Parse(KXW("a*"), true).IsOk());
  EXPECT_TRUE(any.MatchWhole(KxWString(kxRegExpMaxSubject, KXW('a'))));
  EXPECT_EQ(errors.Lines().size(), 0u);
  EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::None);
  EXPECT_FALSE(any.MatchWhole(KxWString(kxRegExpMaxSubject + 1, KXW('a'))));
  EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::WorkLimit) << "no answer, rather than no match";
  EXPECT_EQ(errors.Lines().size(), 1u);
  CkxRegExp large;
  ASSERT_TRUE(large.Parse(Wide(Repeated("a?", 4000)), true).IsOk());
  EXPECT_FALSE(large.MatchWhole(KxWString(100'000, KXW('a'))));
  EXPECT_EQ(errors.Lines().size(), 2u);
}

TEST(RegExp, BackReferencesAreBounded) {
  const KxWString subject(2000, KXW('a'));
  for (const WCHAR* pattern : {KXW("{a+}(a+)+\\0b"), KXW("{a}(a|aa)+!(\\0b)c"), KXW("!({a+}(a+)+\\0b)a")}) {
    CkxTraceCapture errors;
    const CkxEntryScope evaluation;
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(pattern, true).IsOk());
    EXPECT_FALSE(expression.MatchWhole(subject));
    EXPECT_EQ(errors.Lines().size(), 1u);
    EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::WorkLimit);
  }
  // Units compared with a group count as well as instructions do: else a few instructions could compare for minutes.
  const KxWString twice = KxWString(20'000, KXW('a')) + KXW("b") + KxWString(20'000, KXW('a')) + KXW("d");
  for (const size_t comparisons : {10u, 100u}) {
    CkxTraceCapture errors;
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(Wide("{a+}b(" + Repeated("\\0c|", comparisons) + "\\0d)"), true).IsOk());
    EXPECT_EQ(expression.MatchWhole(twice), comparisons == 10);
    EXPECT_EQ(errors.Lines().size(), comparisons == 10 ? 0u : 1u);
  }
}

TEST(RegExp, MatchingIsSpentFromWhatTheEvaluationMayCost) {
  const uint64_t before = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(200'000);
  const KxWString subject(20'000, KXW('a'));
  for (const WCHAR* pattern : {KXW("(a|aa)+b"), KXW("a*!(a*b)"), KXW("{a}(\\0)+b")}) {
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(pattern, true).IsOk());
    const CkxEntryScope evaluation;
    EkxEvaluationFault fault = EkxEvaluationFault::None;
    for (int match = 0; match < 10 && fault == EkxEvaluationFault::None; ++match) {
      expression.MatchWhole(subject);
      fault = KxFault_Current();
    }
    EXPECT_EQ(fault, EkxEvaluationFault::WorkLimit) << KxText_ToUtf8(pattern);
    EXPECT_FALSE(expression.MatchWhole(subject));
  }
  KxUtil_SetWorkLimit(before);
}

/// These take years by backtracking, and milliseconds when time is proportional to the subject; the bound is what is
/// left of the difference on a slow machine under a sanitizer.
TEST(RegExp, NestedRepeatsTakeLinearTime) {
  std::string nested = "(a|aa)+";
  for (int depth = 1; depth < 8; ++depth) nested = "(" + nested + ")+";
  const std::string many(10'000, 'a');
  for (const std::string& pattern :
       {nested + "b", "!(" + nested + "b)" + nested + "b", "(a!(" + nested + "b))+b", Repeated("a?", 100) + "c"}) {
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(Wide(pattern), true).IsOk());
    const auto start = std::chrono::steady_clock::now();
    SkxRegExpMatch match;
    EXPECT_FALSE(expression.MatchWhole(Wide(many)));
    EXPECT_FALSE(expression.Match(Wide(many), match));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << pattern;
  }
}

}  // namespace
