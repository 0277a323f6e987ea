#include "Common_CPP/security/access_check.h"

#include <map>
#include <random>
#include <sstream>

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/naive_access_check.h"

namespace {

using enum EkxAccess;

constexpr SkxGenericMapping kMapping = {0x20001, 0x20002, 0x20004, 0xF0007};

SkxSecurityDescriptor Descriptor(CkxTextView text) {
  SkxSecurityDescriptor descriptor;
  const SkxSddlStatus status = KxSddl_Parse(text, descriptor);
  EXPECT_TRUE(status.IsOk()) << KxText_ToUtf8(text) << " at " << status.offset;
  return descriptor;
}

/// The user S-1-5-21-1-1 with everyone, users, administrators that only deny, and operators that are switched off.
CkxSidList Ann() {
  const auto sid = [](const char* text) { return CkxSid::FromUtf8(text).value(); };
  CkxSidList ann;
  ann.entries = {{sid("S-1-5-21-1-1"), EkxSidUse::Enabled},
                 {sid("S-1-1-0"), EkxSidUse::Enabled},
                 {sid("S-1-5-32-545"), EkxSidUse::Enabled},
                 {sid("S-1-5-32-544"), EkxSidUse::DenyOnly},
                 {sid("S-1-5-32-551"), EkxSidUse::None}};
  return ann;
}

TEST(AccessCheck, Decides) {
  const std::map<EkxAccess, std::string> words = {{Granted, "granted"},
                                                  {Denied, "denied"},
                                                  {NoOwnerOrGroup, "no owner or group"},
                                                  {GenericNotMapped, "generic rights are not mapped"}};
  KxTest_ForRows<std::string, KxWString, std::string, std::string>(
      "security/access.txt", [&](const auto&, const auto& sddl, const auto& desired, const auto& expected) {
        const auto bits = static_cast<uint32_t>(std::stoul(desired, nullptr, 16));
        uint32_t granted = 0xBAD;
        const EkxAccess answer = KxAccess_Check(Descriptor(sddl), Ann(), bits, kMapping, &granted);
        std::ostringstream said;
        said << words.at(answer);
        if (granted != 0) said << " " << std::uppercase << std::hex << granted;
        EXPECT_EQ(said.str(), expected);
        EXPECT_EQ(KxAccess_Check(Descriptor(sddl), Ann(), bits, kMapping), answer);
      });
}

/// Few SIDs and few bits, so that ACEs meet.
class Generator {
 public:
  SkxSecurityDescriptor Descriptor() {
    SkxSecurityDescriptor descriptor;
    descriptor.owner = Sid();
    descriptor.group = Sid();
    descriptor.dacl = OneIn(20) ? EkxDacl::Null : EkxDacl::Present;
    for (unsigned left = descriptor.dacl == EkxDacl::Present ? Below(7) : 0; left != 0; --left) {
      SkxAce ace;
      ace.type = OneIn(8) ? EkxAceType{static_cast<unsigned char>(Below(4))}
                          : EkxAceType{static_cast<unsigned char>(Below(2))};
      ace.flags = static_cast<unsigned char>(OneIn(6) ? 0xFF : Below(8));
      ace.mask = Mask();
      ace.sid = OneIn(8) ? CkxSid::FromUtf8("S-1-3-4").value() : Sid();
      descriptor.aces.push_back(ace);
    }
    return descriptor;
  }

  CkxSidList Who() {
    CkxSidList who;
    for (unsigned left = Below(6); left != 0; --left) {
      who.entries.push_back({Sid(), EkxSidUse{static_cast<unsigned char>(Below(3))}});
    }
    return who;
  }

  /// Mostly one bit, which is granted more often than several.
  uint32_t Desired() {
    if (OneIn(4)) return kKxMaximumAllowed | (OneIn(2) ? 0 : 1u << Below(3));
    return OneIn(2) ? Mask() & 0x0FFFFFFF : 1u << Below(3);
  }

 private:
  unsigned Below(unsigned end) { return static_cast<unsigned>(_random() % end); }
  bool OneIn(unsigned count) { return Below(count) == 0; }
  CkxSid Sid() { return CkxSid::FromUtf8("S-1-5-21-" + std::to_string(Below(4))).value(); }

  uint32_t Mask() {
    uint32_t mask = 0;
    for (unsigned left = 1 + Below(3); left != 0; --left) {
      constexpr uint32_t kBits[] = {1, 2, 4, 0x20000, 0x40000, 0x80000, 0x1000000, 0x10000000, 0x20000000, 0x80000000};
      mask |= OneIn(2) ? 1u << Below(3) : kBits[Below(std::size(kBits))];
    }
    return mask;
  }

  std::mt19937 _random{20240607};
};

TEST(AccessCheck, AgreesWithTheWalkByHand) {
  Generator generate;
  unsigned granted = 0;
  constexpr unsigned kRounds = 10000;
  for (unsigned round = 0; round < kRounds; ++round) {
    const SkxSecurityDescriptor descriptor = generate.Descriptor();
    const CkxSidList who = generate.Who();
    const uint32_t desired = generate.Desired();
    uint32_t bits = 0xBAD;
    const EkxAccess answer = KxAccess_Check(descriptor, who, desired, kMapping, &bits);
    ASSERT_EQ(bits, KxTest_NaiveGranted(descriptor, who, desired, kMapping)) << "round " << round;
    ASSERT_EQ(answer, bits != 0 ? Granted : Denied) << "round " << round;
    granted += bits != 0 ? 1 : 0;
  }
  EXPECT_GT(granted, kRounds / 10);
  EXPECT_LT(granted, kRounds * 9 / 10);
}

}  // namespace
