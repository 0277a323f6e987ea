#include <unistd.h>

#include <filesystem>

#include "tests/support/process_resources.h"

namespace {

size_t EntriesIn(const char* folder) {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

uint32_t KxTest_ProcessId() { return static_cast<uint32_t>(getpid()); }
size_t KxTest_OpenHandles() { return EntriesIn("/proc/self/fd"); }
size_t KxTest_Threads() { return EntriesIn("/proc/self/task"); }

bool KxTest_AppendsInOneStep() { return true; }
