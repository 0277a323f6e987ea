// GUID values: equality, the null GUID and the text form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}.
#pragma once

#include <cstring>
#include <optional>

#include "Common_CPP/util/base.h"

inline bool KxGuid_Equal(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool KxGuid_IsNull(const GUID& guid) { return KxGuid_Equal(guid, GUID{}); }

/// Upper case, in braces.
KxWString KxGuid_ToText(const GUID& guid);
std::string KxGuid_ToUtf8(const GUID& guid);

/// Either case, with or without braces; nothing when it has any other shape.
std::optional<GUID> KxGuid_FromUtf8(std::string_view text);
