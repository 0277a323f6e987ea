// Two publications that cannot be taken for each other, and a reader that says which one it has met, whole or not.
//
//   publication   policies                    groups
//   A             20 named "A", ids 1 to 20   one with 1 target
//   B             35 named "B", ids 1 to 35   one with 2 targets
#pragma once

#include <kx_util/shared_policies_data.h>

#include <atomic>

#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace kx_two_publications {

inline uint32_t PolicyCount(char letter) { return letter == 'A' ? 20 : 35; }
inline uint32_t TargetCount(char letter) { return letter == 'A' ? 1 : 2; }

inline KxBytes PoliciesSection(char letter) {
  const std::u16string name(1, static_cast<char16_t>(letter));
  CkxRecordBytes section;
  section.U32(PolicyCount(letter));
  for (uint32_t id = 1; id <= PolicyCount(letter); ++id) {
    CkxRecordBytes policy;
    policy.U32(0x22232425).SizeHere().U32(7).U32(id).U8(1).Zeros(7).U64(id).U8(0).Zeros(7);
    section.Append(policy.Obfuscated(name).Absent().Absent().U32(0).U32(0).U32(0));
  }
  return section.Bytes();
}

inline KxBytes GroupsSection(char letter) {
  CkxRecordBytes group;
  group.U32(0x22232426).SizeHere().Id(1).U32(TargetCount(letter));
  for (uint32_t i = 0; i < TargetCount(letter); ++i) {
    CkxRecordBytes target;
    group.Append(target.U32(0x22232427).SizeHere().Id(5).U32(7).Unset());
  }
  return CkxRecordBytes().U32(1).Append(group).Bytes();
}

}  // namespace kx_two_publications

inline SkxPolicyImage KxTest_Image(char letter) {
  SkxPolicyImage image;
  image.policies = kx_two_publications::PoliciesSection(letter);
  image.appGroups = kx_two_publications::GroupsSection(letter);
  image.alerts = SkxPolicyImage::Bytes{0, 0, 0, 0};
  return image;
}

/// The publication that a walk over the policies in force meets: 'A' or 'B', '-' for none at all, '?' for anything
/// else.
inline char KxTest_WalkedPublication() {
  std::string names;
  const auto append = [](const CkxShBufPolicy& policy, void* context) {
    *static_cast<std::string*>(context) += KxText_ToUtf8(policy.Name());
    return true;
  };
  if (!CkxSharedPoliciesData::EnumPolicies(append, &names, false, nullptr)) return '?';
  if (names.empty()) return '-';
  return names == std::string(kx_two_publications::PolicyCount(names[0]), names[0]) ? names[0] : '?';
}

/// The same by the look-up of the first policy.
inline char KxTest_FoundPublication() {
  CkxShBufPolicy* found = nullptr;
  if (!CkxSharedPoliciesData::GetPolicyById(1, found)) return '-';
  const CkxShBufPolicyPtr policy(found);
  const std::string name = KxText_ToUtf8(policy->Name());
  return name == "A" || name == "B" ? name[0] : '?';
}

/// The same by the application group.
inline char KxTest_GroupPublication() {
  CkxShBufAppGroup* found = nullptr;
  if (!CkxSharedPoliciesData::GetAppGroupById(KxTest_Id(1), found)) return '-';
  const CkxShBufAppGroupPtr group(found);
  for (const char letter : {'A', 'B'}) {
    if (group->Targets().Count() == kx_two_publications::TargetCount(letter)) return letter;
  }
  return '?';
}

/// What all three say, in that order.
inline std::string KxTest_Publication() {
  return {KxTest_WalkedPublication(), KxTest_FoundPublication(), KxTest_GroupPublication()};
}

/// What readers have met; several may count at once, also in memory that processes share.
struct SkxMetPublications {
  std::atomic<int> a = 0;
  std::atomic<int> b = 0;
  std::atomic<int> nothing = 0;
  std::atomic<int> mixed = 0;

  void Read() {
    for (const char letter : KxTest_Publication()) {
      ++(letter == 'A' ? a : letter == 'B' ? b : letter == '-' ? nothing : mixed);
    }
  }
};
