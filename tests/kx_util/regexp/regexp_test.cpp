#include "Agent/engine/kx_util/regexp/regexp.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/kx_util/regexp/regexp_test_tree.h"
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
  const struct {
    const char* name;
    const char* pattern;
    unsigned code;
    size_t position;
  } cases[] = {
      {"empty pattern", "", 0, 0},
      {"empty groups and alternatives", "()|{}|(|a)", 0, 0},
      {"unclosed brace", "a{b", 2, 1},
      {"brace closed by parenthesis", "{a)", 2, 0},
      {"unclosed parenthesis", "ab((c)", 3, 2},
      {"unclosed class", "a[bc", 4, 1},
      {"class ends in a backslash", "[a\\", 4, 0},
      {"class ends in a range", "[a-", 4, 0},
      {"closing bracket is escaped", "[\\]", 4, 0},
      {"lone closing parenthesis", "ab)", 5, 2},
      {"lone closing brace", "ab}c", 5, 2},
      {"lone closing bracket is literal", "ab]", 0, 0},
      {"lone backslash at the end", "ab\\", 5, 2},
      {"quantifier first", "*a", 5, 0},
      {"quantifier first in a group", "a(+b)", 5, 2},
      {"quantifier after a bar", "a|?", 5, 2},
      {"quantifier on a quantifier", "ab*+", 5, 3},
      {"quantifier on a non-greedy quantifier", "a???", 5, 3},
      {"nothing to negate", "a!", 5, 1},
      {"nothing to negate before a bar", "!|a", 5, 0},
      {"negated quantifier", "!*", 5, 1},
      {"empty class", "a[]b]", 6, 1},
      {"empty negated class", "[^]", 6, 0},
      {"no such group", "{a}\\1", 7, 3},
      {"group comes later", "\\0{a}", 7, 0},
      {"group refers to itself", "{a\\0}", 7, 2},
      {"parentheses are no match group", "(a)\\0", 7, 3},
      {"range downwards", "[az-a]", 8, 2},
      {"range of one", "[a-a]", 0, 0},
      {"repeat of a repeat that can be empty", "(a*)*", 9, 4},
      {"optional optional", "(a?)?", 9, 4},
      {"repeat of an empty alternative", "(a|)+", 9, 4},
      {"repeat of an anchor", "^*", 9, 1},
      {"repeat of a negation", "(!a)+", 9, 4},
      {"repeat of a back-reference that can be empty", "{a?}\\0+", 9, 6},
      {"repeat of a back-reference with text", "{a}\\0+", 0, 0},
      {"repeat of a repeat that takes a unit", "(a+)*", 0, 0},
      {"there are no counted repeats", "a{2}", 0, 0},
  };
  for (const auto& test : cases) {
    CkxRegExp expression;
    const SkxRegExpError error = expression.Parse(Wide(test.pattern), true);
    EXPECT_EQ(static_cast<unsigned>(error.code), test.code) << test.name;
    EXPECT_EQ(error.position, test.position) << test.name;
    size_t length = 0;
    EXPECT_TRUE(error.IsOk() || !expression.MatchPrefix(KXW("a"), length)) << test.name;
  }
  CkxRegExp expression;
  EXPECT_EQ(expression.Parse(CkxTextView(), true).code, EkxRegExpError::InvalidInput);
  EXPECT_FALSE(expression.MatchWhole(KXW("")));
}

TEST(RegExp, Search) {
  const struct {
    const char* name;
    const char* pattern;
    const char* subject;
    const char* expected;
  } cases[] = {
      {"bar binds loosest", "T|the", "the", "0-3"},
      {"bar binds loosest, other side", "T|the", "The", "0-1"},
      {"greedy", "<.*>", "<abc><def>", "0-10"},
      {"non-greedy", "<.*?>", "<abc><def>", "0-5"},
      {"non-greedy option gives in", "^ab??$", "ab", "0-2"},
      {"groups", "{a+}{b*}-{c?}", "xaab-d", "1-5 g0=1-3 g1=3-4 g2=5-5"},
      {"group takes the preferred way", "{a*?}{a*}", "aaa", "0-3 g0=0-0 g1=0-3"},
      {"back-reference", "<{.*?}>.*?</\\0>", "<b>x</i></b>", "0-12 g0=1-2"},
      {"back-reference tries other ways", "{a+}\\0", "aaaaa", "0-4 g0=0-2"},
      {"back-reference to a group without part", "({a}|b)\\0", "b", "none"},
      {"one digit only", "{a}\\01", "aa1", "0-3 g0=0-1"},
      {"negation takes nothing", "a!bc", "ac", "0-2"},
      {"negation of a group", "x!(ab|c)", "xabxcxac", "5-6"},
      {"negation of the start", "a!(^b)b", "ab", "0-2"},
      {"anchors", "^ab$", "ab", "0-2"},
      {"start is the subject's", "^b", "ab", "none"},
      {"end is the subject's", "a$", "ab", "none"},
      {"anchors of a group", "a(b$|^c)", "acab", "2-4"},
      {"anchors of each alternative", "^a|b$", "xab", "2-3"},
      {"elsewhere they are literals", "a^$b", "a^$b", "0-4"},
      {"quantified dollar", "a$*b", "a$$b", "0-4"},
      {"class", "[a-c]+", "xabcd", "1-4"},
      {"negated class takes line ends", "[^a]+", "a\r\n", "1-3"},
      {"hyphen first and last", "[-a]+[a-]+", "b-a-", "1-4"},
      {"hyphen after a range", "[a-c-e]+", "d-e", "1-3"},
      {"escapes in a class", "[\\]\\-\\d]+", "]-d1", "0-3"},
      {"caret later in a class", "[a^]+", "^a", "0-2"},
      {"dot takes line ends", "a.b", "a\nb", "0-3"},
      {"escape", "\\.\\\\\\*\\s", "a.\\*s", "1-5"},
      {"alphanumeric", "\\a+", "-aZ0_", "1-4"},
      {"blank", "\\b+", "a \tb", "1-3"},
      {"letter", "\\c+", "1aZ1", "1-3"},
      {"digit", "\\d", "a5", "1-2"},
      {"hex digit", "\\h+", "xfF9g", "1-4"},
      {"line end CR", "a\\nb", "a\rb", "0-3"},
      {"line end LF", "a\\nb", "a\nb", "0-3"},
      {"line end CR LF", "a\\nb", "a\r\nb", "0-4"},
      {"quoted", "\\q+x", "a\"b\"'c'x", "1-8"},
      {"word", "\\w", "12abc3", "2-5"},
      {"integer", "\\z?x", "12x", "0-3"},
      {"empty pattern", "", "ab", "0-0"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Search(Wide(test.pattern), Wide(test.subject), true), test.expected) << test.name;
  }
}

TEST(RegExp, PrefixAndWhole) {
  const struct {
    const char* pattern;
    const char* subject;
    int prefix;  // -1: none
    bool whole;
  } cases[] = {
      {"ab", "ab", 2, true},       {"ab", "abc", 2, false}, {"b", "ab", -1, false},    {"a|ab", "ab", 1, false},
      {"ab|a", "ab", 2, true},     {"a*?", "aa", 0, false}, {"a*?$", "aa", 2, true},   {".*", "", 0, true},
      {"(a|ab)c", "abc", 3, true}, {"", "", 0, true},       {"{a}\\0", "aa", 2, true}, {"{a}\\0", "baa", -1, false},
  };
  for (const auto& test : cases) {
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(Wide(test.pattern), true).IsOk()) << test.pattern;
    size_t length = 0;
    const bool found = expression.MatchPrefix(Wide(test.subject), length);
    EXPECT_EQ(found ? static_cast<int>(length) : -1, test.prefix) << test.pattern << " on " << test.subject;
    EXPECT_EQ(expression.MatchWhole(Wide(test.subject)), test.whole) << test.pattern << " on " << test.subject;
  }
}

TEST(RegExp, Case) {
  const struct {
    const char* name;
    const WCHAR* pattern;
    const WCHAR* subject;
    const char* minding;  // expected when case matters
    const char* folding;
  } cases[] = {
      {"letter", KXW("aB"), KXW("Ab"), "none", "0-2"},
      {"range", KXW("[a-z]+"), KXW("aZ"), "0-1", "0-2"},
      {"range of capitals", KXW("[A-Z]+"), KXW("aZ"), "1-2", "0-2"},
      {"negated class", KXW("[^a-c]+"), KXW("BbD"), "0-1", "2-3"},
      {"range across the cases", KXW("[Z-a]+"), KXW("zA^"), "2-3", "0-3"},
      {"letters beyond ASCII", KXW("\u00e4\u0436"), KXW("\u00c4\u0416"), "none", "0-2"},
      {"range beyond ASCII", KXW("[\u0430-\u044f]+"), KXW("\u0416\u0436"), "1-2", "0-2"},
      {"wide range", KXW("[\u0100-\uffff]+"), KXW("\u00ff\u0178"), "1-2", "0-2"},
      {"member with another fold", KXW("[\u00ff]"), KXW("\u0178"), "none", "0-1"},
      {"surrogate halves are units", KXW(".[\xd800-\xdbff]"), KXW("a\U0001F600"), "0-2", "0-2"},
      {"abbreviation", KXW("\\w"), KXW("aZ"), "0-2", "0-2"},
      {"back-reference", KXW("{.}\\0"), KXW("aA"), "none", "0-2 g0=0-1"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Search(test.pattern, test.subject, true), test.minding) << test.name;
    EXPECT_EQ(Search(test.pattern, test.subject, false), test.folding) << test.name;
  }
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

TEST(RegExp, NulIsAnOrdinaryUnit) {
  const KxWString subject(KXW("a\0b"), 3);
  for (const KxWString& pattern : {KxWString(KXW("a.b")), KxWString(KXW("a[^b]b")), subject}) {
    EXPECT_EQ(Search(pattern, subject, true), "0-3");
  }
}

TEST(RegExp, SubjectAtAnOddAddress) {
  alignas(2) unsigned char bytes[9] = {0};
  const KxWString text = KXW("xaab");
  std::memcpy(bytes + 1, text.data(), 8);
  CkxRegExp expression;
  ASSERT_TRUE(expression.Parse(KXW("x!ba+b"), false).IsOk());
  EXPECT_TRUE(expression.MatchWhole(CkxTextView::FromBytes(bytes + 1, 8)));
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
