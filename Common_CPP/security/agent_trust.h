// Who may be the agent: serve its channel, publish its sections, own what it is met by.
//
// The system (S-1-5-18), administrators (S-1-5-32-544, which only an elevated process can make the owner of what it
// makes), and the accounts of services: S-1-5-19, S-1-5-20, S-1-5-80-*. Nobody else; above all not the user whom the
// policies restrict. A build for developers and tests (KX_TRUST_OWN_USER) believes the process's own user too, so that
// all can be tried out without rights; it must not be given to anybody else.
#pragma once

#include "Common_CPP/security/sid.h"

bool KxTrust_IsPrivileged(const CkxSid& user);

/// Whether this is such a build. Then the environment may also say where the agent is met.
bool KxTrust_IsDeveloperBuild();

/// Whether the process's own user is believed: in such a build, unless refused.
bool KxTrust_OwnUser();

/// From now on, for the whole process: `refused` lets a developer's build judge as any other does, and can never do
/// more than that. Returns what was so before.
bool KxTrust_RefuseOwnUser(bool refused);
