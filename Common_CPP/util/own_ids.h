// The numbers by which the system knows this process and this thread. A number is given to another one as soon as its
// owner is gone, so that it names something for a line of a log and proves nothing.
#pragma once

#include <cstdint>

uint32_t KxOwn_ProcessId() noexcept;
uint64_t KxOwn_ThreadId() noexcept;
