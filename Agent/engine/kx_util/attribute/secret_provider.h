// The installed provider of secrets.
#pragma once

#include <kx_util/secret_provider.h>

/// Whether there is one; it may have no key all the same.
bool KxSecrets_AreInstalled();

/// Null, with a line in the trace, when there is none: whatever is asked of a secret then fails.
std::shared_ptr<const IkxSecretProvider> KxSecrets_Installed();
