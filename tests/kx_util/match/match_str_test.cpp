#include <gtest/gtest.h>
#include <kx_util/kx_util.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/support/wipe_capture.h"

namespace {

using enum EkxStrCompareAs;

TEST(MatchStr, ReadsCountedTextAtOddAddresses) {
  const unsigned char record[] =
      "\x7F"
      "a\0b\0c\0\0\0x\0";
  EXPECT_TRUE(KxUtil_MatchStr(CkxTextView::FromBytes(record + 1, 4), KXW("AB"), false, StrEquals));
  EXPECT_TRUE(KxUtil_MatchStr(KXW("abc"), CkxTextView::FromBytes(record + 1, 10), true, StrEquals));
  EXPECT_TRUE(KxUtil_MatchStr(KXW("*c"), CkxTextView::FromBytes(record + 1, 10), true, StrWildcard));
}

TEST(MatchStr, LongTextsAreSpentFromWhatTheEvaluationMayCost) {
  const KxWString text(5000, KXW('a'));
  const uint64_t before = KxUtil_WorkLimit();
  for (const EkxStrCompareAs mode : {StrEquals, StrStartsWith, StrContains, StrWildcard, StrRegExp}) {
    for (const uint64_t limit : {before, uint64_t{1000}}) {
      KxUtil_SetWorkLimit(limit);
      const CkxEntryScope evaluation;
      EXPECT_EQ(KxUtil_MatchStr(text, text, true, mode), limit == before) << static_cast<int>(mode);
      EXPECT_EQ(KxFault_Current(), limit == before ? EkxEvaluationFault::None : EkxEvaluationFault::WorkLimit);
    }
  }
  KxUtil_SetWorkLimit(before);
}

TEST(MatchStr, WipesWhatAnExpressionWasCompiledTo) {
  const CkxWipeCapture wiped;
  EXPECT_TRUE(KxUtil_MatchStr(KXW("secret[0-9]+"), KXW("secret1"), false, StrRegExp));
  size_t count = 0;
  for (const KxBytes& bytes : wiped.left) {
    EXPECT_EQ(bytes, KxBytes(bytes.size()));
    count += bytes.size();
  }
  EXPECT_GT(count, 2 * 7 * sizeof(WCHAR)) << "each unit, as parsed and as compiled";
}

}  // namespace
