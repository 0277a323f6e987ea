// The policy decision as it is stamped on the access token of a process: 30 packed bytes, a format of its own since
// tokens outlive releases.
//
//   0 version  1 action  2 original action  3 target type  4 u16 flags  6 u32 pid  10 u32 policy id  14 target GUID
//
// On the token they are the value of one security attribute, "ZOR://TPD": four unsigned 64-bit numbers, of which the
// last two bytes are no part of the record.
//
//   CkxTokenPolicyData(false, pid, info).SetToToken(token, false);
//   CkxTokenPolicyData stamp;
//   if (stamp.GetFromToken(token)) ...
#pragma once

#include <kx_util/policy_codes.h>

#include <vector>

#include "Common_CPP/access_token/token_attribute.h"
#include "Common_CPP/util/owned_str.h"

struct SkxTriggerPolicyShortInfo;

#pragma pack(push, 1)
/// The stamp on a token, 30 bytes.
struct KX_UTIL_API SkxTokenPolicyData {
  static constexpr uint16_t kCreatedByUacElevator = 0x1;
  static constexpr uint16_t kInheritable = 0x2;
  static constexpr uint16_t kProtectInstalledFiles = 0x4;
  static constexpr uint16_t kRestrictFileDlg = 0x8;

  /// All zero, which is the empty record.
  SkxTokenPolicyData() = default;

  /// Version 1, the decision of `info`, and the process that asked for it.
  SkxTokenPolicyData(bool createdByUacElevator, uint32_t pid, const SkxTriggerPolicyShortInfo& info);

  bool IsEmpty() const;
  unsigned char GetVersion() const { return Version; }
  EkxPolicyAction GetPolicyAction() const { return static_cast<EkxPolicyAction>(PolicyAction); }
  bool IsPolicyAction(EkxPolicyAction action) const { return GetPolicyAction() == action; }
  EkxPolicyAction GetOriginalPolicyAction() const { return static_cast<EkxPolicyAction>(OriginalPolicyAction); }
  EkxPolicyTarget GetTargetType() const { return static_cast<EkxPolicyTarget>(TargetType); }
  uint16_t GetFlags() const { return Flags; }
  bool HasFlags(uint16_t mask) const { return (Flags & mask) == mask; }
  bool CreatedByUacElevator() const { return HasFlags(kCreatedByUacElevator); }
  bool GetInheritable() const { return HasFlags(kInheritable); }
  bool GetProtectInstalledFiles() const { return HasFlags(kProtectInstalledFiles); }
  bool GetRestrictFileDlg() const { return HasFlags(kRestrictFileDlg); }
  uint32_t GetPid() const { return Pid; }

  /// The pid, when the UAC elevator made the record; else 0.
  uint32_t GetClientPid() const { return CreatedByUacElevator() ? GetPid() : 0; }
  uint32_t GetPolicyId() const { return PolicyId; }
  GUID GetPolicyTargetId() const { return PolicyTargetId; }

  /// One line for traces.
  void GetDebugString(CkxUtilStr& text) const;

  unsigned char Version = 0;
  unsigned char PolicyAction = 0;
  unsigned char OriginalPolicyAction = 0;
  unsigned char TargetType = 0;
  uint16_t Flags = 0;
  uint32_t Pid = 0;
  uint32_t PolicyId = 0;
  GUID PolicyTargetId = {};
};
#pragma pack(pop)

static_assert(sizeof(SkxTokenPolicyData) == 30);

/// The record with the operations on tokens. A token is a `void*` as everywhere, but never null. All of them fail, and
/// touch nothing, on a system before version 6.2, which has no such attributes.
class KX_UTIL_API CkxTokenPolicyData : public SkxTokenPolicyData {
 public:
  using SkxTokenPolicyData::SkxTokenPolicyData;
  CkxTokenPolicyData() = default;
  explicit CkxTokenPolicyData(const SkxTokenPolicyData& record) : SkxTokenPolicyData(record) {}

  /// In place of the stamp that the token has. `inheritable`: the tokens of processes that are started with this one
  /// have it too. It takes the right to act as part of the system.
  bool SetToToken(void* token, bool inheritable) const;

  /// False, with the record as it was, when the token has no stamp; with an error line when it has none that can be
  /// read. A record of any version is taken.
  bool GetFromToken(void* token);

  /// True also when there is none.
  static bool DeleteFromToken(void* token);

  /// The stamp as an attribute of a token, on a system of that major version; and back, as `GetFromToken`.
  SkxTokenAttribute ToAttribute(bool inheritable, uint32_t osMajor) const;
  bool FromAttributes(const std::vector<SkxTokenAttribute>& attributes);

  static const WCHAR* const _theAttrName;

  /// Numbers in the attribute.
  static constexpr uint32_t _QwordValuesCount() { return (sizeof(SkxTokenPolicyData) + 7) / 8; }
};
static_assert(CkxTokenPolicyData::_QwordValuesCount() == 4);
