// The words of SDDL: what the letters of types, flags, rights and SIDs stand for. Private to this folder.
#pragma once

#include <optional>

#include "Common_CPP/security/sddl.h"

enum class EkxSddlAcl : unsigned char { Discretionary, System };

struct SkxSddlType {
  KxWStringView name;
  EkxSddlAcl acl;
  EkxAceType type;  ///< of the DACL's
  bool hasObjects;  ///< may name objects
  bool isLabel;     ///< takes the rights of labels and no others by letters
  bool isSupported;
};

/// Null when it is none.
const SkxSddlType* KxSddl_FindType(CkxTextView name);

/// What is left of a type when no object is named.
EkxAceType KxSddl_WithoutObject(EkxAceType type);

std::optional<unsigned char> KxSddl_FindFlag(CkxTextView name);

/// `ofLabel`: one of a label's rights, NR, NW and NX.
std::optional<uint32_t> KxSddl_FindRight(CkxTextView name, bool ofLabel);

/// "0x1f" hexadecimal, "017" octal, "15" decimal; false when it is none of 32 bits.
bool KxSddl_Number(CkxTextView text, uint32_t& number);

/// The text form, or two letters, in either case. Nothing when it is neither; `ofDomain` then tells letters that need a
/// domain.
std::optional<CkxSid> KxSddl_FindSid(CkxTextView text, bool& ofDomain);
