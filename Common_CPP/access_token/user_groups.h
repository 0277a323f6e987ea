// The groups that the system says a user is in, whether or not that user is logged on.
#pragma once

#include <optional>
#include <vector>

#include "Common_CPP/security/sid.h"

/// None of a user whom the system does not know; nothing, with the thread's last error set, when it cannot tell.
std::optional<std::vector<CkxSid>> KxUser_Groups(const CkxSid& user);
