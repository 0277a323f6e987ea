// Policies.
//
//   offset 0: u32 magic 0x22232425       header, 40 bytes
//          4: u32 size of the record in bytes, header included
//          8: i32 action (EkxPolicyAction)
//         12: u32 id
//         16: u8 active, 7 unused
//         24: u64 order
//         32: u8 implicit, 7 unused
//         40: name (obfuscated), GpId, KxGpoId (plain), u32 ReportUsageState, u32 GuiType,
//             u32 n, n alert links of 24 bytes
//             with targets: u8 PolicyAutomation, list of targets
//             the kind's own fields
//
// A policy is made by `PolicyFromBuffer`, never changes, and goes by `Release`. Without `copy` it points into the
// record.
#pragma once

#include <kx_util/policy_result.h>
#include <kx_util/shared_buffer.h>
#include <kx_util/shared_policy_target.h>

#include <atomic>
#include <memory>

#include "Common_CPP/util/bstr.h"

class CkxShBufCustGuiBase;

/// "Run", "Block", ... ; "Unknown Policy Action" with an error line for a code that is none.
KX_UTIL_API const WCHAR* KxUtil_PolicyActionStr(EkxPolicyAction action);

#pragma pack(push, 1)
/// The header of a record, as it lies there.
struct SkxPolicyBufHeader {
  static constexpr uint32_t kMagic = 0x22232425;
  uint32_t magic;
  uint32_t size;
  EkxPolicyAction action;
  uint32_t id;
  unsigned char active;
  unsigned char unused17[7];
  uint64_t order;
  unsigned char implicit;
  unsigned char unused33[7];
};

/// What is shown when, as it lies in a record.
struct SkxPolicyAlertLink {
  EkxAlertTrigger trigger;
  EkxAlertType type;
  uint16_t reserved;
  GUID alertId;
};

/// The parameters of Trust, as they lie in a record; each 0 or not.
struct SkxElevateOnDemandConfigParams {
  unsigned char shellExtensionEnabled;
  unsigned char replaceUacOfStandardUsers;
  unsigned char replaceUacOfAdministrators;
};

/// The parameters of Run and collect events, as they lie in a record; each 0 or not.
struct SkxZeroTouchConfigParams {
  unsigned char allowUserReq;
  unsigned char monitorAdministrators;
  unsigned char monitorStandardUsers;
  unsigned char useHeuristics;
  unsigned char triggeredByUser;
  unsigned char suppressNonAdminUac;
  unsigned char suppressAdminUac;
};
#pragma pack(pop)

static_assert(sizeof(SkxPolicyBufHeader) == 40 && offsetof(SkxPolicyBufHeader, order) == 24);
static_assert(sizeof(SkxPolicyAlertLink) == 24 && sizeof(SkxElevateOnDemandConfigParams) == 3);
static_assert(sizeof(SkxZeroTouchConfigParams) == 7);

/// The alert links of a policy: an array in place.
class KX_UTIL_API CkxShBufPolicyAlerts {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);
  uint32_t Count() const { return _count; }
  const SkxPolicyAlertLink& GetAt(uint32_t index) const { return _links[index]; }

  /// Copies out the first link, in record order, for `trigger` (and `type`).
  bool Find(EkxAlertTrigger trigger, SkxPolicyAlertLink& link) const;
  bool Find(EkxAlertTrigger trigger, EkxAlertType type, SkxPolicyAlertLink& link) const;
  void AppendDebugMsg(CkxUtilStr& text) const;

 private:
  uint32_t _count = 0;
  const SkxPolicyAlertLink* _links = nullptr;
};

/// What all kinds of policies have.
class KX_UTIL_API CkxShBufPolicy {
 public:
  /// Null when the record is malformed or its action has no kind. `record` must have as many bytes as its size field
  /// says.
  static CkxShBufPolicy* PolicyFromBuffer(const SkxPolicyBufHeader* record, bool copy);

  CkxShBufPolicy();
  CkxShBufPolicy(const CkxShBufPolicy&) = delete;
  CkxShBufPolicy& operator=(const CkxShBufPolicy&) = delete;
  static void* operator new(size_t bytes) noexcept;  ///< null when there is no memory
  static void operator delete(void* piece) noexcept;

  virtual ~CkxShBufPolicy();
  virtual void Release();

  /// The same for a pointer that may be null, which is ignored: no operation may be called on a null object.
  static void Release(CkxShBufPolicy* policy);

  /// Reads the record and moves on; false for one that is malformed.
  virtual bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) = 0;

  /// What of a decision the policy itself says.
  virtual void FillPolicyInfo(SkxTriggerPolicyShortInfo& info) const;
  virtual bool WithTargets() const = 0;

  /// All that the policy holds, for a person to read.
  virtual void _AppendDebugMsg(CkxUtilStr& text) const;

  uint32_t Id() const { return _header->id; }
  EkxPolicyAction Action() const { return _header->action; }
  bool IsAction(EkxPolicyAction action) const { return Action() == action; }
  bool Active() const { return _header->active != 0; }
  uint64_t Order() const { return _header->order; }
  bool IsImplicit() const { return _header->implicit != 0; }
  uint32_t BufferSize() const { return _header->size; }
  const WCHAR* Name() const { return _name.SafeString(); }
  CkxTextView NameView() const { return _name.View(); }
  CkxTextView GpId() const { return _gpId.View(); }
  CkxTextView KxGpoId() const { return _kxGpoId.View(); }
  uint32_t GuiType() const { return _guiType; }
  uint32_t ReportUsageState() const { return _reportUsageState; }
  const CkxShBufPolicyAlerts& Alerts() const { return _alerts; }
  bool FindAlertLink(EkxAlertTrigger trigger, SkxPolicyAlertLink& link) const { return _alerts.Find(trigger, link); }
  bool FindAlertLink(EkxAlertTrigger trigger, EkxAlertType type, SkxPolicyAlertLink& link) const {
    return _alerts.Find(trigger, type, link);
  }

  /// The alert that the first link for `trigger` and `type` names, as a copy that the caller releases. False, with
  /// `alert` untouched, when there is no such link or no such alert.
  bool GetAlert(EkxAlertTrigger trigger, EkxAlertType type, CkxShBufCustGuiBase*& alert) const;

  /// `_AppendDebugMsg` as a text that the caller frees with `KxBstr_Free`; false, with an error line, when there is no
  /// memory for it.
  bool GetDebugMessage(KxBstr& text) const;

  /// Policies in existence, which keep COM initialised; and what initialising it said.
  static std::atomic<unsigned> _m_ComRefCounter;
  static int32_t _m_hRes;

 protected:
  /// The fields that all kinds have.
  bool _ReadCommon(const unsigned char*& cursor, unsigned long& remaining);

 private:
  bool _CopyBuffer(const SkxPolicyBufHeader*& record, uint32_t size);

  unsigned char* _copy = nullptr;
  const SkxPolicyBufHeader* _header = nullptr;
  CkxShBufString _name;
  CkxShBufString _gpId;
  CkxShBufString _kxGpoId;
  uint32_t _guiType = 0;
  uint32_t _reportUsageState = 0;
  CkxShBufPolicyAlerts _alerts;
};

/// For a pointer that owns a policy.
struct SkxPolicyRelease {
  void operator()(CkxShBufPolicy* policy) const { CkxShBufPolicy::Release(policy); }
};

/// Owns a policy.
using CkxShBufPolicyPtr = std::unique_ptr<CkxShBufPolicy, SkxPolicyRelease>;

/// A policy that is about targets: the first of them that matches makes it apply.
class KX_UTIL_API CkxShBufPolicyWithTargets : public CkxShBufPolicy {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  void FillPolicyInfo(SkxTriggerPolicyShortInfo& info) const override;
  bool WithTargets() const override { return true; }
  void _AppendDebugMsg(CkxUtilStr& text) const override;

  /// Whether the policy applies, and then in `info` what it decides. The second: whatever the target is, as some kinds
  /// do that have none of their own.
  virtual bool IsApplicableTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;
  virtual bool IsApplicableToAnyTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
    return _IsApplicableToAnyTarget(target, info);
  }

  const CkxShBufList& Targets() const { return _targets; }
  bool PolicyAutomation() const { return _policyAutomation; }

  /// Each target in order, a link replaced by the targets of its group, until a call returns false.
  void EnumTargets(KxTargetCallback callback, void* context) const;
  bool HasRealTargets() const;
  bool HasTargetOfType(EkxPolicyTarget type) const;

 protected:
  virtual bool _IsApplicableToAnyTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;

  /// Applies to everything when it has no targets at all, and reports the type of what it was asked about.
  bool _AppliesWithoutTargets(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;

 private:
  CkxShBufList _targets;
  bool _policyAutomation = false;
};

/// A policy that has no list of targets.
class KX_UTIL_API CkxShBufPolicyWithoutTargets : public CkxShBufPolicy {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool WithTargets() const override { return false; }
};
