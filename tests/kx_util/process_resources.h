// What this process holds of the system, to see that nothing is lost.
#pragma once

#include <cstddef>

size_t KxTest_OpenHandles();
size_t KxTest_Threads();
