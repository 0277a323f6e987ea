// Values that the machine keeps for the system and for the agent, under keys such as
// "SYSTEM\CurrentControlSet\Services". Keys and values are found without regard to case.
//
// Windows: HKEY_LOCAL_MACHINE. What a user may write, its own keys, is never looked at: it must not speak for the
// system. Elsewhere: one file a value, in the runtime folder, where the agent alone may write; so there is only what
// the agent has written.
#pragma once

#include <cstdint>
#include <optional>

#include "Common_CPP/util/text_view.h"

/// Programs of 32 bits have some keys of their own on Windows.
enum class EkxRegistryView { Own, Of32Bits };

/// A text as it is stored: variables in it ("%SystemRoot%") are not replaced, since the environment is whoever's the
/// process is. Nothing, with the last error set, when there is no such value, or it is no text.
std::optional<KxWString> KxRegistry_Text(CkxTextView key, CkxTextView value,
                                         EkxRegistryView view = EkxRegistryView::Own);

/// The same for a number of 32 bits.
std::optional<uint32_t> KxRegistry_Number(CkxTextView key, CkxTextView value);

/// Replaces the value as a whole, and makes the key where it is not there. False with the last error set.
bool KxRegistry_SetText(CkxTextView key, CkxTextView value, CkxTextView text);
bool KxRegistry_SetNumber(CkxTextView key, CkxTextView value, uint32_t number);

/// True also when there was no such value.
bool KxRegistry_Remove(CkxTextView key, CkxTextView value);
