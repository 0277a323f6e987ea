// The caller's own token where the system has users and groups instead. Private to this folder.
#pragma once

#include "Common_CPP/access_token/access_token.h"

/// The effective user of the process with its groups, as they are now.
CkxAccessToken KxToken_OfProcess();
