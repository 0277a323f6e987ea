// Whose a named object of the system is. A name in the system's name space is free to whoever comes first, so it is
// asked of every object that somebody else may have made.
#pragma once

#include <optional>

#include "Common_CPP/security/sid.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text_view.h"

/// Of a handle with READ_CONTROL. Nothing, with the last error set, when it cannot be told.
std::optional<CkxSid> KxObject_Owner(HANDLE object);

/// Whether `owner` is this process's own user, or whosever its objects are, and that is enough to be the agent.
bool KxObject_IsOwn(const CkxSid& owner);

/// Whether whoever made `object` may be the agent (Common_CPP/security/agent_trust.h). False with the last error 5 and
/// a line in the trace that has the object's name.
bool KxObject_IsAgents(HANDLE object, CkxTextView name);
