#include <filesystem>

#include "tests/kx_util/process_resources.h"

namespace {

size_t EntriesIn(const char* folder) {
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

size_t KxTest_OpenHandles() { return EntriesIn("/proc/self/fd"); }
size_t KxTest_Threads() { return EntriesIn("/proc/self/task"); }
