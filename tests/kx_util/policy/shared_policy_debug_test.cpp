// What policies of each kind say of themselves, to the letter.
#include <gtest/gtest.h>

#include "tests/kx_util/policy/held_policy.h"

namespace {

using namespace kx_test_records;

std::string DebugText(const CkxRecordBytes& record) { return KxTest_DebugText(*CkxHeldPolicy<>(record).policy); }

TEST(PolicyDebugText, BeginsWithTheHeaderAndTheAlerts) {
  CkxRecordBytes extreme;  // every number beyond the positive ones, every text absent
  extreme.U32(0x22232425).SizeHere().U32(7).U32(0xFFFFFFFE).U8(0).Zeros(7).U64(0xABCDEF).U8(0x80).Zeros(7);
  extreme.Absent().Absent().Absent().U32(0x80000000).U32(0xFFFFFFFF);
  extreme.U32(1).U32(0x80000001).U16(0xFFFF).U16(0xFFFF).U32(0x01020304).U16(0x0506).U16(0x0708);
  for (unsigned byte = 9; byte < 17; ++byte) extreme.U8(byte);

  EXPECT_EQ(DebugText(extreme),
            "Policy id:\t-2\r\nName:\t\r\nOrder:\t0xABCDEF\r\nImplicit:\tYes\r\nGpId:\t\r\nKxGpoId:\t\r\n"
            "Action:\t7\r\nActive:\tNo\r\nGUI Type:\t-1\r\nReportUsageState:\t-2147483648\r\n"
            "\r\n1 Alerts\r\n   {01020304-0506-0708-090A-0B0C0D0E0F10} Trigger -2147483647, Type 65535\r\n");

  EXPECT_EQ(DebugText(Policy(7, {AlertLink(26, 1, 11), AlertLink(9, 2, 12)})),
            "Policy id:\t7\r\nName:\tName\r\nOrder:\t0x1A2B3C4D5E6F7081\r\nImplicit:\tNo\r\nGpId:\t{gp}\r\n"
            "KxGpoId:\t{kx}\r\nAction:\t7\r\nActive:\tYes\r\nGUI Type:\t101\r\nReportUsageState:\t5\r\n"
            "\r\n2 Alerts\r\n   {0000000B-0000-0000-0000-00000000000B} Trigger 26, Type 1\r\n"
            "   {0000000C-0000-0000-0000-00000000000C} Trigger 9, Type 2\r\n");
}

TEST(PolicyDebugText, EndsWithWhatItsKindAdds) {
  const std::string none = "No targets\r\n";
  const std::string two =
      "PolicyAutomation Enabled: Yes\r\n\r\n2 targets\r\n\r\n  Target: URL: *\r\n"
      "\r\n  Target: AppGroupLink. GUID={00000003-0000-0000-0000-000000000003}\r\n";
  const std::vector<CkxRecordBytes> targets = {Url(1, u"*"), Link(2, 3)};
  const CkxRecordBytes manual = NamedPolicy(1).U32(0).U8(0).Append(List({Url(1, u"*")}));
  const CkxRecordBytes theOtherWayRound = CkxRecordBytes().U8(0).U8(0).U8(1).U8(0).U8(0xFF).U8(0).U8(1);
  const CkxRecordBytes script = CkxRecordBytes().Id(9).Absent().Absent().Absent().Absent().Absent();
  const struct {
    int action;
    CkxRecordBytes record;
    std::string kind;
  } cases[] = {
      {1, PolicyWith(1, {}), none},
      {1, manual, "PolicyAutomation Enabled: No\r\n\r\n1 targets\r\n\r\n  Target: URL: *\r\n"},
      {2, PolicyWith(2, targets), two},
      {3, PolicyWith(3, targets), two},
      {4, PolicyWith(4, {}, CkxRecordBytes().U8(1).U8(0).U8(1)),
       none + "Shell Extension:\tYes\r\nReplace non-admin UAC:\tNo\r\nReplace admin UAC:\tYes\r\n"},
      {4, PolicyWith(4, targets, CkxRecordBytes().U8(0).U8(2).U8(0)),
       two + "Shell Extension:\tNo\r\nReplace non-admin UAC:\tYes\r\nReplace admin UAC:\tNo\r\n"},
      {5, Policy(5), ""},
      {6, PolicyWith(6, targets, PolicyTail(6)),
       two + "\r\nAllowUserReq:\tYes\r\nMonitor:\tAdmins=Yes StdUsers=No\r\nUseHeuristics:\tYes\r\n"
             "TriggeredByUser:\tNo\r\nsuppressNonAdminUAC:\tYes\r\nsuppressAdminUAC:\tNo\r\n"},
      {6, PolicyWith(6, {}, theOtherWayRound),
       none + "\r\nAllowUserReq:\tNo\r\nMonitor:\tAdmins=No StdUsers=Yes\r\nUseHeuristics:\tNo\r\n"
              "TriggeredByUser:\tYes\r\nsuppressNonAdminUAC:\tNo\r\nsuppressAdminUAC:\tYes\r\n"},
      {7, Policy(7), ""},
      {8, Policy(8).U32(77), "Computer Action:\t77\r\n"},
      {8, Policy(8).U32(0xFFFFFFFF), "Computer Action:\t-1\r\n"},
      {9, Policy(9).Append(script), ""},
      {10, Policy(10).Obfuscated(u"<C/>").Obfuscated(u"<M/>"), ""},
      {11, PolicyWith(11, targets, CkxRecordBytes().U8(1)), two + "Security Action:\tAllow access\r\n"},
      {11, PolicyWith(11, {}, CkxRecordBytes().U8(0)), none + "Security Action:\tDeny access\r\n"},
      {12, PolicyWith(12, targets, CkxRecordBytes().U16(3)), two + "Exclude type: 3\r\n"},
      {12, PolicyWith(12, {}, CkxRecordBytes().U16(0xFFFF)), none + "Exclude type: 65535\r\n"},
      {13, PolicyWith(13, targets), two},
      {18, PolicyWith(18, targets), two},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.action);
    EXPECT_EQ(DebugText(c.record),
              "Policy id:\t7\r\nName:\tName\r\nOrder:\t0x1A2B3C4D5E6F7081\r\nImplicit:\tNo\r\nGpId:\t{gp}\r\n"
              "KxGpoId:\t{kx}\r\nAction:\t" +
                  std::to_string(c.action) +
                  "\r\nActive:\tYes\r\nGUI Type:\t101\r\nReportUsageState:\t5\r\nNo alerts\r\n" + c.kind);
  }
}

}  // namespace
