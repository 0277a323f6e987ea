// The answer of an evaluation: which policy, which action, which target. Packed records that cross between components
// of different releases, so the older layouts stay, with conversions into the current one.
//
//   SkxTriggerPolicyShortInfo             317 bytes
//   SkxTriggerPolicyShortInfo_6_0_1_171   316: no ProtectInstalledFiles
//   SkxProcessPolicyData                  321: the current short info, u16 ExtraFlags, u16 ExtraState
//   SkxProcessPolicyData_10_2             319: no ExtraState
//   SkxProcessPolicyData_6_0_1_171        318: the old short info, u16 ExtraFlags
//
// Every constructor starts from all zeros, so no byte of a record is ever left to chance.
#pragma once

#include <kx_util/token_policy_data.h>

#include <cstddef>

#include "Common_CPP/util/text_view.h"

#pragma pack(push, 1)

/// The fields that every layout begins with, up to offset 315.
struct SkxTriggerPolicyCommon {
  static constexpr size_t kIdUnits = 64;

  uint32_t PolicyId = 0;
  EkxPolicyAction PolicyAction = EkxPolicyAction::Invalid;
  EkxPolicyAction OriginalPolicyAction = EkxPolicyAction::Invalid;
  WCHAR GpId[kIdUnits] = {};     ///< NUL-terminated, cut to fit
  WCHAR KxGpoId[kIdUnits] = {};  ///< NUL-terminated, cut to fit
  uint32_t GuiType = 0;
  uint32_t ReportUsageState = 0;
  unsigned char PolicyAutomation = 0;
  EkxPolicyTarget TargetType = EkxPolicyTarget::Invalid;
  GUID PolicyTargetId = {};
  GUID SecondaryId = {};  ///< null unless a later stage sets it
  unsigned char Reserved313 = 0;
  unsigned char Inheritable = 0;
};

/// A decision, 317 bytes.
struct KX_UTIL_API SkxTriggerPolicyShortInfo : SkxTriggerPolicyCommon {
  SkxTriggerPolicyShortInfo() = default;
  explicit SkxTriggerPolicyShortInfo(const SkxTokenPolicyData& token);

  /// No policy and no action.
  bool IsEmpty() const { return PolicyId == 0 && PolicyAction == EkxPolicyAction::Invalid; }
  bool IsDefaultPolicy() const { return GuiType == 101 || GuiType == 104 || GuiType - 200 < 6; }

  /// At most 63 units, the rest of the field zero.
  void SetGpId(CkxTextView text);
  void SetKxGpoId(CkxTextView text);

  unsigned char ProtectInstalledFiles = 0;
  unsigned char RestrictFileDlg = 0;
};

/// The decision of older agents, without ProtectInstalledFiles.
struct KX_UTIL_API SkxTriggerPolicyShortInfo_6_0_1_171 : SkxTriggerPolicyCommon {
  /// The current layout, with ProtectInstalledFiles off.
  operator SkxTriggerPolicyShortInfo() const;  // NOLINT(google-explicit-constructor)

  unsigned char RestrictFileDlg = 0;
};

/// What was kept of a process by version 10.2: without ExtraState.
struct KX_UTIL_API SkxProcessPolicyData_10_2 {
  SkxTriggerPolicyShortInfo ShortInfo;
  uint16_t ExtraFlags = 0;
};

/// What was kept of a process by version 6.0.1.171.
struct KX_UTIL_API SkxProcessPolicyData_6_0_1_171 {
  SkxTriggerPolicyShortInfo_6_0_1_171 ShortInfo;
  uint16_t ExtraFlags = 0;
};

/// What is kept of a process: the decision, and what has come to it.
struct KX_UTIL_API SkxProcessPolicyData {
  SkxProcessPolicyData() = default;
  explicit SkxProcessPolicyData(const SkxTriggerPolicyShortInfo& info) : ShortInfo(info) {}
  SkxProcessPolicyData(const SkxProcessPolicyData&) = default;
  SkxProcessPolicyData& operator=(const SkxProcessPolicyData&) = default;
  SkxProcessPolicyData& operator=(const SkxProcessPolicyData_10_2& old);
  SkxProcessPolicyData& operator=(const SkxProcessPolicyData_6_0_1_171& old);

  /// No policy, no action and no state; flags do not count.
  bool IsEmpty() const { return ShortInfo.IsEmpty() && ExtraState == 0; }

  /// The two words stay.
  void SetTriggerPolicyShortInfo(const SkxTriggerPolicyShortInfo& info) { ShortInfo = info; }

  SkxTriggerPolicyShortInfo ShortInfo;
  uint16_t ExtraFlags = 0;
  uint16_t ExtraState = 0;
};

#pragma pack(pop)

static_assert(sizeof(SkxTriggerPolicyCommon) == 315);
static_assert(sizeof(SkxTriggerPolicyShortInfo) == 317);
static_assert(sizeof(SkxTriggerPolicyShortInfo_6_0_1_171) == 316);
static_assert(sizeof(SkxProcessPolicyData) == 321);
static_assert(sizeof(SkxProcessPolicyData_10_2) == 319);
static_assert(sizeof(SkxProcessPolicyData_6_0_1_171) == 318);
static_assert(offsetof(SkxTriggerPolicyCommon, GpId) == 12 && offsetof(SkxTriggerPolicyCommon, KxGpoId) == 140);
static_assert(offsetof(SkxTriggerPolicyCommon, GuiType) == 268 && offsetof(SkxTriggerPolicyCommon, TargetType) == 277);
static_assert(offsetof(SkxTriggerPolicyCommon, PolicyTargetId) == 281);
static_assert(offsetof(SkxTriggerPolicyCommon, Inheritable) == 314);
