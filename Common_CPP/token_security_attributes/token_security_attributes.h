// Marks on tokens: read, set and taken off by name.
//
//   SkxTokenAttribute mark = {KXW("KX://EXAMPLE"), KxTokenUInt64, KxTokenNonInheritable, {{.number = 1}}};
//   CkxTokenSecurityAttributes::Set(token, mark);
//
// `token` is a token as everywhere (access_token.h), but never null: whoever marks a token says which. A failure is
// false with an error line.
#pragma once

#include "Common_CPP/access_token/token_attribute.h"

class CkxTokenSecurityAttributes {
 public:
  /// Version 6.2 or later of the system: before there are no such attributes. A token of ours has them on any.
  static bool AreSupported(void* token);

  /// The major version that attributes are made for.
  static uint32_t OsMajor();

  /// Adds the attribute, which has 64-bit numbers, or puts it in the place of the one with its name.
  static bool Set(void* token, const SkxTokenAttribute& attribute);

  static bool List(void* token, std::vector<SkxTokenAttribute>& attributes);

  /// True also when there is none of that name.
  static bool Delete(void* token, CkxTextView name);

  /// For messages: "Type=2 (UINT64), Flags=0x00000041 (NON_INHERITABLE|COMPARE_IGNORE) Count=4".
  static KxWString Description(const SkxTokenAttribute& attribute);
};
