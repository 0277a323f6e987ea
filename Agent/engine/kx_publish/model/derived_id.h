// Ids for what a document does not number itself: the same place in the same policy always gets the same one, on every
// machine, so that compiling twice gives the same bytes and reports of two machines can be put side by side.
#pragma once

#include <string>

#include "Common_CPP/util/guid.h"

/// The first 16 bytes of the SHA-256 of `place` ("policy/7/target/0"), as a UUID of version 8. Throws
/// std::runtime_error when the system cannot hash.
GUID KxDerivedId(const std::string& place);
