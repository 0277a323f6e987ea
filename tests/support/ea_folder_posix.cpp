#include "tests/support/ea_folder.h"

#include <sys/xattr.h>

#include <fstream>
#include <string>

#include "tests/support/temp_folder.h"

std::optional<std::filesystem::path> KxTest_EaFolder() {
  for (const std::filesystem::path& folder :
       {std::filesystem::temp_directory_path(), std::filesystem::path("/dev/shm")}) {
    const std::filesystem::path probe = folder / KxTest_UniqueName();
    if (!std::ofstream(probe)) continue;
    const std::string value(65'535, 'v');
    const bool holds = setxattr(probe.c_str(), "user.PROBE", value.data(), value.size(), 0) == 0;
    std::filesystem::remove(probe);
    if (holds) return folder;
  }
  return std::nullopt;
}
