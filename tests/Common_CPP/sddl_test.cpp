#include "Common_CPP/security/sddl.h"

#include <cstdio>

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
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
  KxTest_ForRows<std::string, KxWString, std::string>(
      "security/sddl.txt", [](const auto&, const auto& text, const auto& shown) {
        SkxSecurityDescriptor descriptor;
        const SkxSddlStatus status = Parse(text, descriptor);
        EXPECT_TRUE(status.IsOk()) << KxSddl_FaultText(status.fault) << " at " << status.offset;
        EXPECT_EQ(Show(descriptor), shown);
      });
}

TEST(Sddl, PointsAtTheFault) {
  KxTest_ForRows<std::string, KxWString, std::string, uint64_t>(
      "security/sddl_faults.txt", [](const auto&, const auto& text, const auto& fault, uint64_t place) {
        SkxSecurityDescriptor descriptor;
        descriptor.dacl = EkxDacl::Null;
        const SkxSddlStatus status = Parse(text, descriptor);
        EXPECT_EQ(KxSddl_FaultText(status.fault), fault);
        EXPECT_EQ(status.offset, place);
        EXPECT_EQ(Show(descriptor), "nothing");
      });
}

TEST(Sddl, KnowsTheNewerLettersOfSids) {
  KxTest_ForRows<KxWString, std::optional<std::string>>(
      "security/sddl_letters.txt", [](const auto& letters, const auto& sid) {
        SkxSecurityDescriptor descriptor;
        EXPECT_EQ(Parse(KXW("G:") + letters, descriptor).fault, sid ? EkxSddlFault::None : EkxSddlFault::DomainSid);
        EXPECT_EQ(descriptor.group.ToUtf8(), sid.value_or(""));
      });
}

TEST(Sddl, ATextThatIsCutShortIsNoneUnlessItEndsWithAPiece) {
  // Pieces end with a bar.
  constexpr KxWStringView pieces =
      KXW("O:BA|G:SY|D:|P|AI|(A;CI;GA;;;WD)|(OD;;0x1f;bf967aba-0de6-11d0-a285-00aa003049e2;;S-1-5-32-545)|S:|(AU;SA;FA;"
          ";;WD)|");
  KxWString whole;
  std::vector<bool> ends(200, false);
  for (const WCHAR unit : pieces) {
    if (unit != KXW('|')) whole += unit;
    ends[whole.size()] = unit == KXW('|');
  }
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
