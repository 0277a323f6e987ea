// The policies in force on this machine: the sections that the agent's service publishes, and what it says of a user.
#pragma once

#include <kx_util/policy_source.h>

#include "Common_CPP/util/text_view.h"

const IkxPolicySource& KxPolicySource_Live();

/// The same by an index section of another name: a publication beside the one in force, for tests.
std::unique_ptr<IkxPolicySource> KxPolicySource_OfIndex(CkxTextView index);

/// Names of the index section and of the service's event, the ones that never change.
extern const WCHAR* const kKxPoliciesIndexSection;
extern const WCHAR* const kKxPoliciesUpdatedEvent;

/// Units in each of the index section's slots, terminator included.
inline constexpr size_t kKxIndexSlotUnits = 64;

/// The name in the slot of `which` of an index section's bytes, which lie at a multiple of eight; empty when nothing is
/// published there, or when the bytes end before the slot does.
KxWString KxPolicyIndex_NameIn(std::span<const unsigned char> index, EkxPolicySection which);

/// What the index section `index` has in the slot of `which`; empty when nothing is published there. Read in whole
/// words of eight bytes, from the slot's first: a publisher that rewrites the slot in that manner is never read half
/// way.
KxWString KxPolicyIndex_SectionName(CkxTextView index, EkxPolicySection which);
