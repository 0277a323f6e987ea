// The walk over the policies of one publication: what `CkxSharedPoliciesData::EnumPolicies` and every question built on
// it are made of.
#pragma once

#include <kx_util/shared_policies_data.h>

enum class EkxWalkEnd : unsigned char {
  Walked,            ///< to the end of the section, or until the callback had enough
  NothingPublished,  ///< there is no section of policies
  NoneApplicable,    ///< the agent says that the user has no policies
  NotOpened,         ///< the section of policies is refused; the fault is noted
  Faulted,           ///< what was handed out is not all; the fault is noted
};

/// As `EnumPolicies`, inside an entry. Who asks whether policies apply to `about`, and does nothing with those that do
/// not, names it here: policies of which that can be seen in their record are not handed out.
EkxWalkEnd KxSectionWalk_Policies(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context,
                                  bool applicableOnly, void* token, const CkxTargetInfo* about = nullptr);
