#include "Common_CPP/security/access_check.h"

#include <algorithm>

namespace {

constexpr uint32_t kGeneric = kKxGenericAll | kKxGenericExecute | kKxGenericWrite | kKxGenericRead;
constexpr uint32_t kGrantable = kKxAccessSystemSecurity - 1;  // specific and standard rights

const CkxSid& OwnerRights() {
  static const CkxSid sid = CkxSid::FromUtf8("S-1-3-4").value_or(CkxSid());
  return sid;
}

bool Counts(const SkxAce& ace) {
  return (ace.flags & kKxAceInheritOnly) == 0 && (ace.type == EkxAceType::Allow || ace.type == EkxAceType::Deny);
}

uint32_t Mapped(uint32_t mask, const SkxGenericMapping& mapping) {
  uint32_t mapped = mask;
  if ((mask & kKxGenericRead) != 0) mapped |= mapping.read;
  if ((mask & kKxGenericWrite) != 0) mapped |= mapping.write;
  if ((mask & kKxGenericExecute) != 0) mapped |= mapping.execute;
  if ((mask & kKxGenericAll) != 0) mapped |= mapping.all;
  return mapped & kGrantable;
}

class CkxDaclWalk {
 public:
  CkxDaclWalk(const SkxSecurityDescriptor& descriptor, const IkxSidSet& who, const SkxGenericMapping& mapping)
      : _descriptor(descriptor), _who(who), _mapping(mapping) {}

  /// What is granted once every bit of `wanted` is decided, or at the end.
  uint32_t Granted(uint32_t wanted) const {
    uint32_t allowed = ImplicitRights();
    uint32_t denied = 0;
    for (const SkxAce& ace : _descriptor.aces) {
      if ((wanted & ~(allowed | denied)) == 0) break;
      if (!Counts(ace)) continue;
      const uint32_t undecided = Mapped(ace.mask, _mapping) & ~(allowed | denied);
      if (undecided == 0) continue;
      const EkxSidUse use = UseOf(ace.sid);
      if (ace.type == EkxAceType::Allow && use == EkxSidUse::Enabled) allowed |= undecided;
      if (ace.type == EkxAceType::Deny && use != EkxSidUse::None) denied |= undecided;
    }
    return allowed;
  }

 private:
  uint32_t ImplicitRights() const {
    const auto isOfOwner = [](const SkxAce& ace) { return Counts(ace) && ace.sid.Equals(OwnerRights()); };
    const bool spoken = std::any_of(_descriptor.aces.begin(), _descriptor.aces.end(), isOfOwner);
    return !spoken && _who.UseOf(_descriptor.owner) == EkxSidUse::Enabled ? kKxReadControl | kKxWriteDac : 0;
  }

  EkxSidUse UseOf(const CkxSid& sid) const { return _who.UseOf(sid.Equals(OwnerRights()) ? _descriptor.owner : sid); }

  const SkxSecurityDescriptor& _descriptor;
  const IkxSidSet& _who;
  const SkxGenericMapping& _mapping;
};

}  // namespace

EkxAccess KxAccess_Check(const SkxSecurityDescriptor& descriptor, const IkxSidSet& who, uint32_t desired,
                         const SkxGenericMapping& mapping, uint32_t* granted) {
  if (granted != nullptr) *granted = 0;
  if ((desired & kGeneric) != 0) return EkxAccess::GenericNotMapped;
  if (!descriptor.owner.IsValid() || !descriptor.group.IsValid()) return EkxAccess::NoOwnerOrGroup;

  const bool wantsAll = (desired & kKxMaximumAllowed) != 0;
  const uint32_t wanted = desired & ~kKxMaximumAllowed;
  const uint32_t allowed = descriptor.dacl == EkxDacl::Present
                               ? CkxDaclWalk(descriptor, who, mapping).Granted(wantsAll ? kGrantable : wanted)
                               : (mapping.all | wanted) & kGrantable;
  const uint32_t answer = wantsAll ? allowed : wanted;
  if ((wanted & ~allowed) != 0 || answer == 0) return EkxAccess::Denied;
  if (granted != nullptr) *granted = answer;
  return EkxAccess::Granted;
}
