// What the host expects of the agent's program.
#pragma once

#include <memory>

#include "Common_CPP/secure_named_pipe/peer_identity.h"

/// Null when it expects nothing.
std::shared_ptr<const SkxExpectedPeer> KxAgent_Expected();
