// What this computer is called in its network, and the language that its user reads.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

/// Units that a name is asked into, its terminator included.
inline constexpr size_t kKxHostNameUnits = 256;

/// The NetBIOS name; elsewhere than on Windows what stands for it: the first label of the host's name in capitals, at
/// most 15 units. Nothing, with the thread's last error set, when the system does not tell.
std::optional<KxWString> KxHost_NetBiosName();

/// The language of this process's user as a tag, "de-CH"; empty when none is told.
KxWString KxHost_UserLanguage();
