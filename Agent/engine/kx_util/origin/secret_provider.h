// The installed provider of secrets.
#pragma once

#include <kx_util/secret_provider.h>

/// Null, with a line in the trace, when there is none: whatever is asked of a secret then fails.
std::shared_ptr<const IkxSecretProvider> KxSecrets_Installed();
