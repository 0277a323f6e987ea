// The policies in force on this machine: the sections that the agent's service publishes, and what it says of a user.
#pragma once

#include <kx_util/policy_source.h>

const IkxPolicySource& KxPolicySource_Live();

/// Name of the index section, the one name that never changes.
extern const WCHAR* const kKxPoliciesIndexSection;

/// Units in each of the index section's slots, terminator included.
inline constexpr size_t kKxIndexSlotUnits = 64;
