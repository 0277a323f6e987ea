// Samples of expressions: each is accepted, the shortest comes first, and no expression takes long.
#include "Agent/engine/kx_util/regexp/regexp_samples.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"

namespace {

TEST(RegExpSamples, BeginWithTheShortest) {
  const struct {
    const WCHAR* pattern;
    const WCHAR* shortest;  ///< null: there is none
  } rows[] = {
      {KXW("setup"), KXW("setup")},
      {KXW(""), KXW("")},
      {KXW("long|ab|c"), KXW("c")},
      {KXW("a?b+c*"), KXW("b")},
      {KXW("a|ab"), KXW("a")},
      {KXW("[x-z]\\d"), KXW("x0")},
      {KXW("[^a0x]"), KXW("A")},
      {KXW("{a|b}-\\0"), KXW("a-a")},
      {KXW("{a+}\\0"), KXW("aa")},
      {KXW("^tool$"), KXW("tool")},
      {KXW("!(aa|a0)..x"), KXW("0ax")},
      {KXW("\\w\\.\\h"), KXW("a.a")},
      {KXW("\\q"), KXW("\"\"")},
      {KXW("(((a+)+)+)+"), KXW("a")},
      {KXW("a$b"), KXW("a$b")},
      {KXW("!."), KXW("")},
      {KXW("!aa"), nullptr},
      {KXW("["), nullptr},
      {KXW("(a"), nullptr},
  };
  for (const auto& [pattern, shortest] : rows) {
    SCOPED_TRACE(KxText_ToUtf8(pattern));
    const std::vector<KxWString> samples = KxRegExp_Samples(pattern, true, 8);
    if (shortest == nullptr) {
      EXPECT_TRUE(samples.empty());
      continue;
    }
    ASSERT_FALSE(samples.empty());
    EXPECT_EQ(KxText_ToUtf8(samples.front()), KxText_ToUtf8(shortest));
    CkxRegExp expression;
    ASSERT_TRUE(expression.Parse(pattern, true).IsOk());
    for (const KxWString& sample : samples) EXPECT_TRUE(expression.MatchWhole(sample)) << KxText_ToUtf8(sample);
  }
}

TEST(RegExpSamples, EndSoonWhateverTheExpression) {
  KxWString nested;
  for (int i = 0; i < 100; ++i) nested += KXW("(");
  nested += KXW("a");
  for (int i = 0; i < 100; ++i) nested += KXW("+)");
  EXPECT_EQ(KxRegExp_Samples(nested, true, 1), std::vector<KxWString>{KXW("a")});

  KxWString groups;
  for (int i = 0; i < 60; ++i) groups += KXW("{[ab]?[cd]?");
  groups += KXW("x");
  for (int i = 0; i < 60; ++i) groups += KXW("}");
  EXPECT_EQ(KxRegExp_Samples(groups, true, 1), std::vector<KxWString>{KXW("x")});

  EXPECT_TRUE(KxRegExp_Samples(KxWString(kxRegExpMaxSampledPattern + 1, KXW('a')), true, 1).empty());
  EXPECT_EQ(KxRegExp_Samples(KxWString(kxRegExpMaxSampledPattern, KXW('a')), true, 1).size(), 1u);
}

}  // namespace
