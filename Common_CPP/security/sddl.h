// Security descriptors in their text form, SDDL: our own reader, the same on every platform.
//
//   descriptor  part {part}, each kind of part at most once, in any order
//   part        "O:" sid | "G:" sid | "D:" flags {ace} | "S:" flags {ace}
//   flags       any of P, AR, AI; and for "D:", without ACEs, NO_ACCESS_CONTROL: a null DACL
//   ace         "(" type ";" flags ";" rights ";" object ";" inherited object ";" sid ")"
//   type        in "D:" A, D, OA, OD; in "S:" AU, AL, OU, OL, ML, SP, TL, FL
//   flags       any of CI, OI, NP, IO, ID, SA, FA, TP, CR
//   rights      nothing, pairs of letters (GA, FR, ...), or one number: 0x1f hexadecimal, 017 octal, 15 decimal
//   objects     nothing, or for the types with an O before them a GUID without braces
//   sid         S-1-5-32-544, or two letters (BA)
//
// Blanks may stand around parts, flags of a list, ACEs and fields. Keywords are in capitals; only SIDs may be in either
// case. What only some system would take is a fault here: a number that does not fit, numbers mixed with letters, a
// type in the other list, a part twice. So are, by name:
//
// - the letters of accounts that belong to a domain (LA, DA, DU, ...): without a domain they name nobody;
// - conditional ACEs (XA, XD, XU, ZA) and resource attributes (RA): a descriptor that is understood by half is not.
//
// An object ACE that names no object is kept as a plain one, since it is about the whole. "S:" is checked and left out:
// auditing and labels give no access.
#pragma once

#include <vector>

#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/text_view.h"

enum class EkxAceType : unsigned char { Allow, Deny, ObjectAllow, ObjectDeny };

/// Of the flags of an ACE the one that a check looks at: the ACE is there for children only.
inline constexpr unsigned char kKxAceInheritOnly = 0x08;

struct SkxAce {
  EkxAceType type = EkxAceType::Allow;
  unsigned char flags = 0;
  uint32_t mask = 0;  ///< as written, generic rights not mapped
  CkxSid sid;
};

/// A null DACL is one that is there and protects nothing; one that is present may well be empty.
enum class EkxDacl : unsigned char { Absent, Null, Present };

struct SkxSecurityDescriptor {
  CkxSid owner;  ///< not valid when not given
  CkxSid group;
  EkxDacl dacl = EkxDacl::Absent;
  std::vector<SkxAce> aces;  ///< of the DACL, as they stand
};

/// A list takes this many bytes in its binary form at most, with 8 for its header, and for each ACE 8, its SID and,
/// where there are objects, 4 and their GUIDs: the system counts them in 16 bits.
inline constexpr size_t kKxAclMaxBytes = 65535;

enum class EkxSddlFault : unsigned char {
  None,
  Empty,         ///< a text without parts
  Unexpected,    ///< neither a part nor an ACE begins here
  RepeatedPart,  ///< the same part again
  Fields,        ///< an ACE has six fields, and its end
  Type,          ///< no type of an ACE, or none for this list
  Unsupported,   ///< conditions and resource attributes
  Flag,
  Right,
  Object,  ///< no GUID, or a GUID where none belongs
  Sid,
  DomainSid,  ///< letters that mean something in a domain only
  TooLarge,   ///< the list is over its limit with this ACE
};

struct SkxSddlStatus {
  EkxSddlFault fault = EkxSddlFault::None;
  size_t offset = 0;  ///< of the offending piece, in units

  bool IsOk() const { return fault == EkxSddlFault::None; }
};

/// Replaces `descriptor`; after a fault it holds nothing.
SkxSddlStatus KxSddl_Parse(CkxTextView text, SkxSecurityDescriptor& descriptor);

/// For a trace: "unknown right".
const char* KxSddl_FaultText(EkxSddlFault fault);
