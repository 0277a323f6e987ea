#include "Common_CPP/security/sddl.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace {

std::string Hex(uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof(text), "%x", number);
  return text;
}

/// "O S-1-5-18 D A 8 10000000 S-1-1-0": owner, group, DACL, and of each ACE type, flags, mask and SID.
std::string Show(const SkxSecurityDescriptor& descriptor) {
  constexpr const char* kDacls[] = {"", " null", " D"};
  constexpr const char* kTypes[] = {" A ", " D ", " OA ", " OD "};
  std::string text;
  if (descriptor.owner.IsValid()) text += " O " + descriptor.owner.ToUtf8();
  if (descriptor.group.IsValid()) text += " G " + descriptor.group.ToUtf8();
  text += kDacls[static_cast<size_t>(descriptor.dacl)];
  for (const SkxAce& ace : descriptor.aces) {
    text += kTypes[static_cast<size_t>(ace.type)] + Hex(ace.flags) + " " + Hex(ace.mask) + " " + ace.sid.ToUtf8();
  }
  return text.empty() ? "nothing" : text.substr(1);
}

/// In a block of exactly its size.
SkxSddlStatus Parse(CkxTextView text, SkxSecurityDescriptor& descriptor) {
  const unsigned char* const bytes = text.Bytes();
  CkxExactBytes exact(KxBytes(bytes, bytes + text.Size() * sizeof(WCHAR)));
  const CkxTextView view(reinterpret_cast<const WCHAR*>(exact.Data()), text.Size());
  return KxSddl_Parse(view, descriptor);
}

TEST(Sddl, Reads) {
  const struct {
    const char* name;
    const WCHAR* text;
    const char* shown;
  } kCases[] = {
      {"everything", KXW("O:SYG:BAD:PAI(D;CIIO;GA;;;BG)(A;;0x4;;;S-1-5-21-1-2-3-1001)S:AR(AU;SAFA;GA;;;WD)"),
       "O S-1-5-18 G S-1-5-32-544 D D a 10000000 S-1-5-32-546 A 0 4 S-1-5-21-1-2-3-1001"},
      {"owner alone", KXW("O:S-1-5-18"), "O S-1-5-18"},
      {"group alone", KXW("G:BA"), "G S-1-5-32-544"},
      {"any order", KXW("D:(A;;GA;;;WD)G:S-1-5-32-544O:SY"), "O S-1-5-18 G S-1-5-32-544 D A 0 10000000 S-1-1-0"},
      {"a SID that ends in a hexadecimal letter of the next part", KXW("O:S-1-0x5-18D:"), "O S-1-5-18 D"},
      {"empty DACL", KXW("D:"), "D"},
      {"empty DACL with flags", KXW("D:PARAI"), "D"},
      {"null DACL", KXW("D:NO_ACCESS_CONTROL"), "null"},
      {"null DACL with flags", KXW("D:P NO_ACCESS_CONTROL AI"), "null"},
      {"audit only", KXW("S:(AU;SA;FA;;;WD)(ML;;NWNRNX;;;LW)(SP;;;;;S-1-17-1)(TL;;1;;;S-1-19-512-4096)"), "nothing"},
      {"blanks", KXW("  O: SY  D: P  ( A ; CI ; GA ; ; ; WD )  ( D ;;;;; BU )  "),
       "O S-1-5-18 D A 2 10000000 S-1-1-0 D 0 0 S-1-5-32-545"},
      {"generic rights", KXW("D:(A;;GAGXGWGR;;;WD)"), "D A 0 f0000000 S-1-1-0"},
      {"standard rights", KXW("D:(A;;RCSDWDWO;;;WD)"), "D A 0 f0000 S-1-1-0"},
      {"rights to directory objects", KXW("D:(A;;CCDCLCSWRPWPDTLOCR;;;WD)"), "D A 0 1ff S-1-1-0"},
      {"rights to files", KXW("D:(A;;FA;;;WD)(A;;FR;;;WD)(A;;FW;;;WD)(A;;FX;;;WD)"),
       "D A 0 1f01ff S-1-1-0 A 0 120089 S-1-1-0 A 0 120116 S-1-1-0 A 0 1200a0 S-1-1-0"},
      {"rights to keys", KXW("D:(A;;KA;;;WD)(A;;KR;;;WD)(A;;KW;;;WD)(A;;KX;;;WD)"),
       "D A 0 f003f S-1-1-0 A 0 20019 S-1-1-0 A 0 20006 S-1-1-0 A 0 20019 S-1-1-0"},
      {"no rights", KXW("D:(A;;;;;WD)"), "D A 0 0 S-1-1-0"},
      {"a right twice", KXW("D:(A;;GAGA;;;WD)"), "D A 0 10000000 S-1-1-0"},
      {"hexadecimal", KXW("D:(A;;0xFFFFFFFF;;;WD)(A;;0X1a;;;WD)"), "D A 0 ffffffff S-1-1-0 A 0 1a S-1-1-0"},
      {"octal and decimal", KXW("D:(A;;010;;;WD)(A;;4294967295;;;WD)(A;;0;;;WD)"),
       "D A 0 8 S-1-1-0 A 0 ffffffff S-1-1-0 A 0 0 S-1-1-0"},
      {"every flag", KXW("D:(A;OI;;;;WD)(A;CI;;;;WD)(A;NP;;;;WD)(A;IO;;;;WD)(A;ID;;;;WD)(A;CRTPSAFA;;;;WD)"),
       "D A 1 0 S-1-1-0 A 2 0 S-1-1-0 A 4 0 S-1-1-0 A 8 0 S-1-1-0 A 10 0 S-1-1-0 A e0 0 S-1-1-0"},
      {"letters that mean other things elsewhere", KXW("D:(A;CRFA;CRFA;;;RC)(D;ID;RCWDSDDC;;;RA)"),
       "D A a0 1f01ff S-1-5-12 D 10 70002 S-1-5-32-575"},
      {"objects",
       KXW("D:(OA;;CC;bf967aba-0de6-11d0-a285-00aa003049e2;;WD)(OD;;CC;BF967ABA-0DE6-11D0-A285-00AA003049E2;"
           "bf967aba-0de6-11d0-a285-00aa003049e2;WD)"),
       "D OA 0 1 S-1-1-0 OD 0 1 S-1-1-0"},
      {"objects that are not named", KXW("D:(OA;;CC;;;WD)(OD;;CC;;bf967aba-0de6-11d0-a285-00aa003049e2;WD)"),
       "D A 0 1 S-1-1-0 D 0 1 S-1-1-0"},
      {"SIDs in small letters", KXW("D:(A;;;;;wd)(A;;;;;s-1-5-0012)"), "D A 0 0 S-1-1-0 A 0 0 S-1-5-12"},
  };
  for (const auto& c : kCases) {
    SkxSecurityDescriptor descriptor;
    const SkxSddlStatus status = Parse(c.text, descriptor);
    EXPECT_TRUE(status.IsOk()) << c.name << ": " << KxSddl_FaultText(status.fault) << " at " << status.offset;
    EXPECT_EQ(Show(descriptor), c.shown) << c.name;
  }
}

TEST(Sddl, PointsAtTheFault) {
  using enum EkxSddlFault;
  const struct {
    const char* name;
    const WCHAR* text;
    EkxSddlFault fault;
    size_t offset;
  } kCases[] = {
      {"nothing", KXW(""), Empty, 0},
      {"blanks", KXW("   "), Empty, 3},
      {"no part", KXW("X:"), Unexpected, 0},
      {"a part in small letters", KXW("d:"), Unexpected, 0},
      {"no colon", KXW("D:G"), Unexpected, 2},
      {"blank before the colon", KXW("D :"), Unexpected, 0},
      {"tab", KXW("\tD:"), Unexpected, 0},
      {"flag in small letters", KXW("D:p"), Unexpected, 2},
      {"flag after an ACE", KXW("D:(A;;;;;WD)P"), Unexpected, 12},
      {"null DACL with an ACE", KXW("D:NO_ACCESS_CONTROL(A;;;;;WD)"), Unexpected, 19},
      {"null SACL", KXW("S:NO_ACCESS_CONTROL"), Unexpected, 2},
      {"an ACE that is not opened", KXW("D:A;;;;;WD)"), Unexpected, 2},
      {"owner twice", KXW("O:BAO:BA"), RepeatedPart, 4},
      {"DACL twice", KXW("D:S:D:"), RepeatedPart, 4},
      {"no owner", KXW("O:"), Sid, 2},
      {"no owner before a group", KXW("O: G:BA"), Sid, 3},
      {"colon for an owner", KXW("O::"), Sid, 2},
      {"five fields", KXW("D:(A;;GA;;WD)"), Fields, 12},
      {"seven fields", KXW("D:(A;;GA;;;WD;)"), Fields, 13},
      {"an ACE that is not closed", KXW("D:(A;;GA;;;WD"), Fields, 13},
      {"an ACE in an ACE", KXW("D:(A;;GA;;;(A;;GA;;;WD))"), Fields, 11},
      {"no fields", KXW("D:()"), Fields, 3},
      {"no type", KXW("D:(;;;;;WD)"), Type, 3},
      {"type in small letters", KXW("D:(a;;;;;WD)"), Type, 3},
      {"unknown type", KXW("D:(A;;;;;WD)(AA;;;;;WD)"), Type, 13},
      {"allowing in a SACL", KXW("S:(A;;GA;;;WD)"), Type, 3},
      {"auditing in a DACL", KXW("D:( AU;SA;GA;;;WD)"), Type, 4},
      {"condition", KXW("D:(XA;;FX;;;WD;(@User.Title==\"PM\"))"), Unsupported, 3},
      {"denying condition", KXW("D:(XD;;FX;;;WD;(a))"), Unsupported, 3},
      {"condition on an object", KXW("D:(ZA;;FX;;;WD;(a))"), Unsupported, 3},
      {"auditing condition", KXW("S:(XU;SA;FX;;;WD;(a))"), Unsupported, 3},
      {"attribute", KXW("S:(RA;;;;;WD;(\"a\",TI,0,1))"), Unsupported, 3},
      {"half a flag", KXW("D:(A;CIO;;;;WD)"), Flag, 7},
      {"blank in flags", KXW("D:(A;CI OI;;;;WD)"), Flag, 7},
      {"a right for a flag", KXW("D:(A;GA;;;;WD)"), Flag, 5},
      {"half a right", KXW("D:(A;;GAG;;;WD)"), Right, 8},
      {"unknown right", KXW("D:(A;;GAXX;;;WD)"), Right, 8},
      {"right in small letters", KXW("D:(A;;ga;;;WD)"), Right, 6},
      {"a label's right", KXW("D:(A;;NR;;;WD)"), Right, 6},
      {"any other right of a label", KXW("S:(ML;;GA;;;LW)"), Right, 7},
      {"no digits", KXW("D:(A;;0x;;;WD)"), Right, 6},
      {"no octal digit", KXW("D:(A;;08;;;WD)"), Right, 6},
      {"33 bits", KXW("D:(A;;0x100000000;;;WD)"), Right, 6},
      {"33 bits, decimal", KXW("D:(A;; 4294967296;;;WD)"), Right, 7},
      {"more digits than any number has", KXW("D:(A;;00000000000000001;;;WD)"), Right, 6},
      {"sign", KXW("D:(A;;-1;;;WD)"), Right, 6},
      {"letters behind a number", KXW("D:(A;;12GA;;;WD)"), Right, 6},
      {"object of a plain ACE", KXW("D:(A;;GA;bf967aba-0de6-11d0-a285-00aa003049e2;;WD)"), Object, 9},
      {"object in braces", KXW("D:(OA;;GA;{bf967aba-0de6-11d0-a285-00aa003049e2};;WD)"), Object, 10},
      {"object of 36 other units", KXW("D:(OA;;GA;;bf967aba-0de6-11d0-a285-00aa003049eX;WD)"), Object, 11},
      {"no SID", KXW("D:(A;;GA;;;)"), Sid, 11},
      {"unknown letters", KXW("D:(A;;GA;;;QQ)"), Sid, 11},
      {"SID without sub-authorities", KXW("D:(A;;GA;;;S-1-1)"), Sid, 11},
      {"SID with a blank", KXW("D:(A;;GA;;;S-1- 1-0)"), Sid, 11},
      {"a letter that looks like ASCII", KXW("D:(A;;GA;;;\u017Fy)"), Sid, 11},
      {"guest of a domain", KXW("D:(A;;GA;;;LG)"), DomainSid, 11},
      {"owner of a domain", KXW("O: DA"), DomainSid, 3},
  };
  for (const auto& c : kCases) {
    SkxSecurityDescriptor descriptor;
    descriptor.dacl = EkxDacl::Null;
    const SkxSddlStatus status = Parse(c.text, descriptor);
    EXPECT_EQ(status.fault, c.fault) << c.name << ": " << KxSddl_FaultText(status.fault);
    EXPECT_EQ(status.offset, c.offset) << c.name;
    EXPECT_EQ(Show(descriptor), "nothing") << c.name;
  }
}

// Those that only newer systems know; the rest is compared with the system where there is one.
TEST(Sddl, KnowsTheNewerLettersOfSids) {
  const struct {
    const WCHAR* letters;
    const char* sid;  // null: relative to a domain
  } kCases[] = {
      {KXW("OW"), "S-1-3-4"},      {KXW("WR"), "S-1-5-33"},     {KXW("UD"), "S-1-5-84-0-0-0-0-0"},
      {KXW("AC"), "S-1-15-2-1"},   {KXW("MP"), "S-1-16-8448"},  {KXW("AS"), "S-1-18-1"},
      {KXW("SS"), "S-1-18-2"},     {KXW("MU"), "S-1-5-32-558"}, {KXW("LU"), "S-1-5-32-559"},
      {KXW("IS"), "S-1-5-32-568"}, {KXW("CY"), "S-1-5-32-569"}, {KXW("ER"), "S-1-5-32-573"},
      {KXW("CD"), "S-1-5-32-574"}, {KXW("RA"), "S-1-5-32-575"}, {KXW("ES"), "S-1-5-32-576"},
      {KXW("MS"), "S-1-5-32-577"}, {KXW("HA"), "S-1-5-32-578"}, {KXW("AA"), "S-1-5-32-579"},
      {KXW("RM"), "S-1-5-32-580"}, {KXW("HO"), "S-1-5-32-584"}, {KXW("SH"), "S-1-5-32-585"},
      {KXW("RO"), nullptr},        {KXW("CN"), nullptr},        {KXW("AP"), nullptr},
      {KXW("KA"), nullptr},        {KXW("EK"), nullptr},
  };
  for (const auto& c : kCases) {
    const KxWString text = KxWString(KXW("G:")) + c.letters;
    SkxSecurityDescriptor descriptor;
    const SkxSddlStatus status = Parse(text, descriptor);
    EXPECT_EQ(descriptor.group.ToUtf8(), c.sid != nullptr ? c.sid : "") << KxText_ToUtf8(text);
    EXPECT_EQ(status.fault, c.sid != nullptr ? EkxSddlFault::None : EkxSddlFault::DomainSid) << KxText_ToUtf8(text);
  }
}

TEST(Sddl, ATextThatIsCutShortIsNoneUnlessItEndsWithAPiece) {
  const WCHAR* const pieces[] = {KXW("O:BA"),
                                 KXW("G:SY"),
                                 KXW("D:"),
                                 KXW("P"),
                                 KXW("AI"),
                                 KXW("(A;CI;GA;;;WD)"),
                                 KXW("(OD;;0x1f;bf967aba-0de6-11d0-a285-00aa003049e2;;S-1-5-32-545)"),
                                 KXW("S:"),
                                 KXW("(AU;SA;FA;;;WD)")};
  KxWString whole;
  std::vector<bool> ends(200, false);
  for (const WCHAR* piece : pieces) ends[(whole += piece).size()] = true;
  for (size_t size = 0; size <= whole.size(); ++size) {
    SkxSecurityDescriptor descriptor;
    const SkxSddlStatus status = Parse(CkxTextView(whole).Part(0, size), descriptor);
    EXPECT_EQ(status.IsOk(), ends[size]) << size;
    EXPECT_LE(status.offset, size);
  }
}

TEST(Sddl, AListHasALimit) {
  // A header of 8 bytes, and ACEs of 8 with a SID of 12, or with 36 more for two objects: 65535 at most.
  constexpr KxWStringView kObjects =
      KXW("(OU;;;bf967aba-0de6-11d0-a285-00aa003049e2;bf967aba-0de6-11d0-a285-00aa003049e2;WD)");
  const struct {
    const char* name;
    KxWStringView list, ace;
    size_t most;
  } kCases[] = {
      {"plain", KXW("D:"), KXW("(A;;;;;WD)"), 3276},
      {"objects", KXW("S:"), kObjects, 1170},
  };
  for (const auto& c : kCases) {
    KxWString text(c.list);
    for (size_t i = 0; i < c.most; ++i) text += c.ace;
    SkxSecurityDescriptor descriptor;
    EXPECT_TRUE(Parse(text, descriptor).IsOk()) << c.name;
    const size_t end = text.size();
    text += c.ace;
    const SkxSddlStatus status = Parse(text, descriptor);
    EXPECT_EQ(status.fault, EkxSddlFault::TooLarge) << c.name;
    EXPECT_EQ(status.offset, end) << c.name;
  }
}

}  // namespace
