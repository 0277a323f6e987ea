// The mandatory integrity of a token.
#pragma once

#include <cstdint>
#include <optional>

/// 0x1000 low, 0x2000 medium, 0x3000 high, 0x4000 system, and what lies between. `token` as everywhere: null is the
/// caller's own, a process stands for its token. Nothing when it cannot be told.
std::optional<uint32_t> KxToken_Integrity(void* token);
