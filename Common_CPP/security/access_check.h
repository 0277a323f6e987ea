// The access check: what a security descriptor gives to a set of SIDs. Our own walk, the same on every platform.
//
//   SkxSecurityDescriptor descriptor;
//   if (KxSddl_Parse(text, descriptor).IsOk() && KxAccess_Check(descriptor, who, kReadControl, mapping) == Granted) ...
//
// - An absent and a null DACL give everything, an empty one nothing.
// - The owner is given READ_CONTROL and WRITE_DAC beforehand, unless the DACL speaks of the owner's rights (S-1-3-4):
//   then these ACEs say what the owner has. They are for whoever has the owner's SID.
// - ACEs count in the order in which they stand, each bit by the first that names it: an allowing one for an enabled
//   SID, a denying one for an enabled or deny-only SID. Those for children only (IO) are passed over.
// - ACEs of an object are passed over, whether they allow or deny: the question is always about the whole.
// - Generic rights of an ACE are mapped; generic rights in the question are a fault of the caller's.
//
// What there is no place for here: privileges (so ACCESS_SYSTEM_SECURITY, which takes one, is never given), integrity
// labels, and the second pass of restricted tokens.
#pragma once

#include "Common_CPP/security/sddl.h"

inline constexpr uint32_t kKxReadControl = 0x00020000;
inline constexpr uint32_t kKxWriteDac = 0x00040000;
inline constexpr uint32_t kKxAccessSystemSecurity = 0x01000000;
inline constexpr uint32_t kKxMaximumAllowed = 0x02000000;
inline constexpr uint32_t kKxGenericAll = 0x10000000;
inline constexpr uint32_t kKxGenericExecute = 0x20000000;
inline constexpr uint32_t kKxGenericWrite = 0x40000000;
inline constexpr uint32_t kKxGenericRead = 0x80000000;

/// What the generic rights mean for the kind of thing that is protected.
struct SkxGenericMapping {
  uint32_t read = 0;
  uint32_t write = 0;
  uint32_t execute = 0;
  uint32_t all = 0;
};

enum class EkxSidUse : unsigned char {
  None,      ///< not there, or switched off
  DenyOnly,  ///< only denying ACEs see it
  Enabled,
};

/// On whose behalf is asked: the user and the groups of a token.
class IkxSidSet {
 public:
  virtual ~IkxSidSet() = default;
  virtual EkxSidUse UseOf(const CkxSid& sid) const = 0;
};

enum class EkxAccess : unsigned char {
  Denied,
  Granted,
  NoOwnerOrGroup,    ///< the descriptor lacks one of them
  GenericNotMapped,  ///< the question names generic rights
};

/// Whether all of `desired` is granted. With MAXIMUM_ALLOWED in it every bit is looked at, and something must be
/// granted beside what is named. `granted`, when given, gets the bits: those of the question, or all that there are;
/// none unless the answer is Granted. A question for nothing is denied.
EkxAccess KxAccess_Check(const SkxSecurityDescriptor& descriptor, const IkxSidSet& who, uint32_t desired,
                         const SkxGenericMapping& mapping, uint32_t* granted = nullptr);
