// For security descriptors of the process's own objects.
#pragma once

#include <optional>

#include "Common_CPP/security/sid.h"

/// Whose this thread (with `token`: that process) makes what it makes: the administrators' when it may, which is when
/// it runs elevated; else whosever the system says. Named in a descriptor instead of the user, it does not open the
/// object to the same user's processes that are not elevated, and as the owner it tells everybody that the maker was.
std::optional<CkxSid> KxToken_OwnerOfNewObjects(void* token = nullptr);
