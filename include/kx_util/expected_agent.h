// Which program the agent is, for a host that knows it.
//
// Whoever answers the library's requests is the system, a service's account or an administrator, and not of a lower
// integrity than the asking process. A host may expect more: the program behind the agent's process.
//
//   KxUtil_SetExpectedAgent(KXW("KxAgent.exe"), KXW("Vendor Inc."), &signatures);
//
// Nothing is expected until it is installed.
#pragma once

#include "Common_CPP/secure_named_pipe/process_identity.h"

/// For the whole process, from the next request on. `image` is a file name, with or without ".exe", case folded;
/// `signer` is the name of the signer, to the letter; null or empty is not compared. `identity` tells them (not owned;
/// it lives as long as the library is used, and may be asked by several threads at once); null: the system is asked,
/// which knows images only, so that an expected signer is then met by nobody. What cannot be told is a mismatch, and
/// the request fails as if there were no agent. False when there is no memory: what was expected before still is.
KX_UTIL_API bool KxUtil_SetExpectedAgent(const WCHAR* image, const WCHAR* signer,
                                         const IkxProcessIdentity* identity = nullptr) noexcept;
