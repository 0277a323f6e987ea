// What this process is, and holds of the system, to see that nothing is lost.
#pragma once

#include <cstddef>
#include <cstdint>

uint32_t KxTest_ProcessId();
size_t KxTest_OpenHandles();  ///< or descriptors
size_t KxTest_Threads();
