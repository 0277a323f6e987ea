// For security descriptors of the process's own objects.
#pragma once

#include <optional>

#include "Common_CPP/security/sid.h"

/// To whom the system gives what this thread (with `token`: that process) makes: its user, or the administrators when
/// it runs elevated. Named in a descriptor instead of the user, it does not open the object to the same user's
/// processes that are not elevated.
std::optional<CkxSid> KxToken_OwnerOfNewObjects(void* token = nullptr);
