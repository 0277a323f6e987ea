// What a test asks of the process that it runs in.
#pragma once

#include <cstddef>
#include <cstdint>

uint32_t KxTest_ProcessId();

/// Handles or descriptors that are open now.
size_t KxTest_OpenHandles();
