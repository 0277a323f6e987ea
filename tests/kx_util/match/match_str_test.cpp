#include <gmock/gmock.h>
#include <kx_util/kx_util.h>
#include <kx_util/shared_buffer.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum EkxStrCompareAs;
using enum EkxBitmaskCompareAs;

struct StrCase {
  const char* name;
  EkxStrCompareAs compareAs;
  const WCHAR* pattern;
  const WCHAR* subject;
  bool folded;  // what it answers when case does not count
  bool exact;   // and when it does
};

const StrCase kStrCases[] = {
    {"null is null, whatever the mode", StrEquals, nullptr, nullptr, true, true},
    {"null is null in a mode that is none", EkxStrCompareAs{9}, nullptr, nullptr, true, true},
    {"null pattern, empty subject", StrEquals, nullptr, KXW(""), false, false},
    {"null pattern, a subject", StrWildcard, nullptr, KXW("a"), false, false},
    {"a pattern, null subject", StrWildcard, KXW("*"), nullptr, false, false},
    {"empty pattern, null subject", StrEquals, KXW(""), nullptr, false, false},

    {"equal but for case", StrEquals, KXW("notepad.exe"), KXW("NotePad.EXE"), true, false},
    {"blanks around the subject", StrEquals, KXW("notepad.exe"), KXW(" \t\r\nnotepad.exe\u00A0\u3000 "), true, true},
    {"blank before the pattern", StrEquals, KXW(" notepad.exe"), KXW(" notepad.exe"), false, false},
    {"blank within", StrEquals, KXW("a b"), KXW("a  b"), false, false},
    {"equal empties", StrEquals, KXW(""), KXW(" \t "), true, true},
    {"a beginning is not all", StrEquals, KXW("ab"), KXW("abc"), false, false},
    {"letters of others", StrEquals, KXW("\u00C4\u0416\u03A9"), KXW("\u00E4\u0436\u03C9"), true, false},
    {"sharp s has no single upper case", StrEquals, KXW("STRASSE"), KXW("stra\u00DFe"), false, false},

    {"starts", StrStartsWith, KXW("ab"), KXW("  ABab"), true, false},
    {"starts later", StrStartsWith, KXW("ab"), KXW("xabab"), false, false},
    {"starts, but longer", StrStartsWith, KXW("abc"), KXW("ab"), false, false},
    {"nothing starts nothing", StrStartsWith, KXW(""), KXW("ab"), false, false},
    {"nothing starts the empty text", StrStartsWith, KXW(""), KXW(""), false, false},

    {"contains", StrContains, KXW("PAD.e"), KXW("notepad.exe"), true, false},
    {"contains at the end", StrContains, KXW("exe"), KXW("notepad.exe "), true, true},
    {"contains nothing", StrContains, KXW(""), KXW("ab"), false, false},
    {"contains the blank that was trimmed", StrContains, KXW("b "), KXW("ab "), false, false},

    {"wildcard of case", StrWildcard, KXW("*.exe"), KXW("A.EXE"), true, false},
    {"asterisks and blanks", StrWildcard, KXW("**"), KXW("   "), true, true},
    {"wildcard is whole", StrWildcard, KXW("b*"), KXW("abc"), false, false},

    {"expression covers all", StrRegExp, KXW("a.c"), KXW(" aBc "), true, true},
    {"expression covers a part", StrRegExp, KXW("ab"), KXW("abc"), false, false},
    {"expression covers the end", StrRegExp, KXW("bc"), KXW("abc"), false, false},
    {"expression of case", StrRegExp, KXW("setup\\z\\.exe"), KXW("Setup42.exe"), true, false},
};

TEST(MatchStr, AnswersByModeAndCase) {
  for (const StrCase& c : kStrCases) {
    SCOPED_TRACE(c.name);
    const CkxTraceCapture trace;
    EXPECT_EQ(KxUtil_MatchStr(c.pattern, c.subject, false, c.compareAs), c.folded);
    EXPECT_EQ(KxUtil_MatchStr(c.pattern, c.subject, true, c.compareAs), c.exact);
    EXPECT_THAT(trace.Texts(), IsEmpty());
  }
}

TEST(MatchStr, ReadsCountedTextAtOddAddresses) {
  const unsigned char record[] =
      "\x7F"
      "a\0b\0c\0\0\0x\0";
  EXPECT_TRUE(KxUtil_MatchStr(CkxTextView::FromBytes(record + 1, 4), KXW("AB"), false, StrEquals));
  EXPECT_TRUE(KxUtil_MatchStr(KXW("abc"), CkxTextView::FromBytes(record + 1, 10), true, StrEquals));
  EXPECT_TRUE(KxUtil_MatchStr(KXW("*c"), CkxTextView::FromBytes(record + 1, 10), true, StrWildcard));
}

TEST(MatchStr, TracesAModeThatIsNone) {
  const CkxTraceCapture trace;
  EXPECT_FALSE(KxUtil_MatchStr(KXW("a"), KXW("a"), false, EkxStrCompareAs{0}));
  EXPECT_FALSE(KxUtil_MatchStr(KXW("a"), KXW("a"), false, EkxStrCompareAs{6}));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_MatchStr: ERROR: Unexpected compareAs value 0",
                                         "KXT_ERROR KxUtil_MatchStr: ERROR: Unexpected compareAs value 6"));
}

TEST(MatchStr, TracesAnExpressionThatDoesNotParse) {
  const CkxTraceCapture trace;
  EXPECT_FALSE(KxUtil_MatchStr(KXW("a{b"), KXW("ab"), false, StrRegExp));
  EXPECT_FALSE(KxUtil_MatchStr(KXW("[z-a]"), KXW("b"), true, StrRegExp));
  EXPECT_THAT(trace.Texts(),
              ElementsAre("KXT_ERROR KxUtil_MatchStr: ERROR: Failed to parse regular expression [a{b], "
                          "CaseSensitive=0. REParseError=2",
                          "KXT_ERROR KxUtil_MatchStr: ERROR: Failed to parse regular expression [[z-a]], "
                          "CaseSensitive=1. REParseError=8"));
}

TEST(MatchStr, ValidatesExpressionsInSilence) {
  const CkxTraceCapture trace;
  EXPECT_TRUE(KxUtil_IsValidRegExp(KXW("{a|b}c\\d+"), false));
  EXPECT_FALSE(KxUtil_IsValidRegExp(KXW("a{b"), true));
  EXPECT_FALSE(KxUtil_IsValidRegExp({}, true));
  EXPECT_THAT(trace.Texts(), IsEmpty());
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

size_t wipedBytes = 0;
bool allWereWiped = true;
void CountWiped(const unsigned char* bytes, size_t count) {
  wipedBytes += count;
  allWereWiped = allWereWiped && std::all_of(bytes, bytes + count, [](unsigned char byte) { return byte == 0; });
}

TEST(MatchStr, WipesWhatAnExpressionWasCompiledTo) {
  const KxWipeHook before = KxUtil_SetWipeHook(CountWiped);
  EXPECT_TRUE(KxUtil_MatchStr(KXW("secret[0-9]+"), KXW("secret1"), false, StrRegExp));
  KxUtil_SetWipeHook(before);
  EXPECT_TRUE(allWereWiped);
  EXPECT_GT(wipedBytes, 2 * 7 * sizeof(WCHAR)) << "each unit, as parsed and as compiled";
}

TEST(MatchBitmask, AnswersByMode) {
  struct {
    uint32_t mask, value;
    bool equal, allSet, anySet, noneSet;
  } const cases[] = {
      {0x6, 0x7, false, true, true, false},
      {0x6, 0x4, false, false, true, false},
      {0x6, 0x6, true, true, true, false},
      {0x6, 0x9, false, false, false, true},
      {0, 0, true, true, false, true},
      {0, 5, false, true, false, true},
      {0x80000000, 0xFFFFFFFF, false, true, true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.mask << " against " << c.value);
    EXPECT_EQ(KxUtil_MatchBitmask(c.mask, c.value, BitsEqual), c.equal);
    EXPECT_EQ(KxUtil_MatchBitmask(c.mask, c.value, BitsAllSet), c.allSet);
    EXPECT_EQ(KxUtil_MatchBitmask(c.mask, c.value, BitsAnySet), c.anySet);
    EXPECT_EQ(KxUtil_MatchBitmask(c.mask, c.value, BitsNoneSet), c.noneSet);
  }
  const CkxTraceCapture trace;
  EXPECT_FALSE(KxUtil_MatchBitmask(1, 1, EkxBitmaskCompareAs{5}));
  EXPECT_FALSE(KxUtil_MatchBitmask(1, 1, EkxBitmaskCompareAs{0}));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_MatchBitmask: ERROR: Unexpected compareAs value 5",
                                         "KXT_ERROR KxUtil_MatchBitmask: ERROR: Unexpected compareAs value 0"));
}

TEST(MatchServiceName, FindsOneFieldOfTheList) {
  EXPECT_TRUE(KxUtil_MatchServiceName(KXW("Dhcp/WuAuServ/BITS"), KXW("wuauserv")));
  EXPECT_TRUE(KxUtil_MatchServiceName(KXW("//BITS/"), KXW("bits")));
  EXPECT_FALSE(KxUtil_MatchServiceName(KXW("Dhcp /BITS2"), KXW("Dhcp")));
  EXPECT_FALSE(KxUtil_MatchServiceName(KXW("a/b"), KXW("a/b")));
  EXPECT_FALSE(KxUtil_MatchServiceName(KXW("a//b"), KXW("")));
  EXPECT_FALSE(KxUtil_MatchServiceName(KXW("a"), {}));
  EXPECT_FALSE(KxUtil_MatchServiceName({}, KXW("a")));
  EXPECT_FALSE(KxUtil_MatchServiceName(KXW(""), KXW("")));
}

}  // namespace
