// Targets that are those of an application group.
#pragma once

#include <kx_util/shared_policy_target.h>

#pragma pack(push, 1)
/// A GUID in place, at any address.
struct SkxGuidBlock {
  GUID value;
};
#pragma pack(pop)

/// GUID of the group that stands for its targets.
class KX_UTIL_API CkxShBufTargetAppGroupLink : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  void AppendDebugMsg(CkxUtilStr& text) const override;

  GUID GroupId() const { return _groupId->value; }

  /// `info` is filled from the target of the group that matched.
  bool MatchTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;

  /// Every target of the group, in order, until a call returns false, which is then the answer. A group that is not
  /// there has none.
  bool EnumTargets(KxTargetCallback callback, void* context) const;

 private:
  const SkxGuidBlock* _groupId = nullptr;
};
