// The access check done by hand: what is wanted is crossed off, ACE by ACE, and the first deny that meets what is left
// ends it. All that there is to have is found by asking for one bit at a time.
#pragma once

#include "Common_CPP/security/access_check.h"

/// SIDs as a token lists them; of one that is listed twice each entry counts.
class CkxSidList : public IkxSidSet {
 public:
  struct Entry {
    CkxSid sid;
    EkxSidUse use;
  };

  EkxSidUse UseOf(const CkxSid& sid) const override {
    EkxSidUse use = EkxSidUse::None;
    for (const Entry& entry : entries) {
      if (entry.sid.Equals(sid) && entry.use > use) use = entry.use;
    }
    return use;
  }

  std::vector<Entry> entries;
};

namespace kx_naive {

inline bool Has(const CkxSidList& who, const CkxSid& sid, bool denyOnlyToo) {
  for (const CkxSidList::Entry& entry : who.entries) {
    if (entry.sid.ToUtf8() != sid.ToUtf8()) continue;
    if (entry.use == EkxSidUse::Enabled || (denyOnlyToo && entry.use == EkxSidUse::DenyOnly)) return true;
  }
  return false;
}

inline bool Grants(const SkxSecurityDescriptor& descriptor, const CkxSidList& who, uint32_t wanted,
                   const SkxGenericMapping& mapping) {
  if ((wanted & 0xFF000000) != 0) return false;
  if (descriptor.dacl != EkxDacl::Present) return true;

  std::vector<SkxAce> aces;
  for (const SkxAce& ace : descriptor.aces) {
    const bool plain = ace.type == EkxAceType::Allow || ace.type == EkxAceType::Deny;
    if (plain && (ace.flags & 0x08) == 0) aces.push_back(ace);
  }
  bool ownerIsMentioned = false;
  for (SkxAce& ace : aces) {
    if (ace.sid.ToUtf8() != "S-1-3-4") continue;
    ownerIsMentioned = true;
    ace.sid = descriptor.owner;
  }

  uint32_t left = wanted;
  if (!ownerIsMentioned && Has(who, descriptor.owner, false)) left &= ~0x00060000u;
  for (const SkxAce& ace : aces) {
    uint32_t mask = ace.mask;
    if ((mask & 0x80000000) != 0) mask |= mapping.read;
    if ((mask & 0x40000000) != 0) mask |= mapping.write;
    if ((mask & 0x20000000) != 0) mask |= mapping.execute;
    if ((mask & 0x10000000) != 0) mask |= mapping.all;
    if (ace.type == EkxAceType::Allow && Has(who, ace.sid, false)) left &= ~mask;
    if (ace.type == EkxAceType::Deny && Has(who, ace.sid, true) && (left & mask) != 0) return false;
  }
  return left == 0;
}

}  // namespace kx_naive

/// `desired` without generic rights, of a descriptor with owner and group. 0: denied.
inline uint32_t KxTest_NaiveGranted(const SkxSecurityDescriptor& descriptor, const CkxSidList& who, uint32_t desired,
                                    const SkxGenericMapping& mapping) {
  const uint32_t wanted = desired & ~0x02000000u;
  if (!kx_naive::Grants(descriptor, who, wanted, mapping)) return 0;
  if (wanted == desired) return wanted;
  uint32_t all = wanted;
  for (uint32_t bit = 1; bit < 0x01000000; bit <<= 1) {
    // Without a DACL there is no end to what is granted; then it is what "all" means.
    const bool had = descriptor.dacl == EkxDacl::Present ? kx_naive::Grants(descriptor, who, bit, mapping)
                                                         : (mapping.all & bit) != 0;
    if (had) all |= bit;
  }
  return all;
}
