#include <unistd.h>

#include <filesystem>

#include "tests/Common_CPP/this_process.h"

uint32_t KxTest_ProcessId() { return static_cast<uint32_t>(getpid()); }

size_t KxTest_OpenHandles() {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}
