// What this process is, and holds of the system, to see that nothing is lost.
#pragma once

#include <cstddef>
#include <cstdint>

uint32_t KxTest_ProcessId();
size_t KxTest_OpenHandles();  ///< or descriptors
size_t KxTest_Threads();

/// Whether what two handles append to one file stays whole. Windows does that in one step; Wine, where its tests run,
/// looks for the end first.
bool KxTest_AppendsInOneStep();
