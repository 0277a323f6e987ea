// Who may do what with a file, as the system keeps it: a descriptor in one piece with a list of entries.
//
//   0  u8    revision, then u8 reserved
//   2  u16   marks
//   4  u32   where the owner, the group, what is recorded and the list begin, 0: without; the list is the fourth
//  20        the list: u8 revision, u8 reserved, u16 its bytes, u16 count of entries, u16 reserved, entries
//            entry: u8 type, u8 flags, u16 its bytes, u32 rights, the SID
//
// Without a list in place of an empty one everybody may do everything. Entries count in their order.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "Common_CPP/security/sid.h"

/// The descriptor of the list alone, with one entry more in front of all others: that `user` has `rights`. Its marks
/// are those of `descriptor`, and say that the folder's rights go on being passed on where they were. Nothing for a
/// descriptor without a list, to which no right can be added, for one that is malformed, and for a list that is full.
std::optional<std::vector<unsigned char>> KxAccessList_WithGrant(std::span<const unsigned char> descriptor,
                                                                 const CkxSid& user, uint32_t rights);

/// To put a descriptor back: the system would take a list without this mark for one that was set by hand, and pass on
/// none of the folder's rights to it any more. One that is too short stays as it is.
void KxAccessList_KeepInheriting(std::span<unsigned char> descriptor);
