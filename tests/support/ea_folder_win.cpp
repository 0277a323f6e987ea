#include "tests/support/ea_folder.h"

#include <vector>

#include "Common_CPP/file/native_ea.h"
#include "tests/support/temp_folder.h"

std::optional<std::filesystem::path> KxTest_EaFolder() {
  const CkxTempFolder folder;
  const KxWString probe = folder.Write("probe", "");
  const SkxNativeEa& system = KxNativeEa_OfSystem();
  intptr_t file = -1;
  const std::vector<unsigned char> record = {0, 0, 0, 0, 0, 1, 1, 0, 'P', 0, 7};
  if (system.open(probe, KxEaWrite, file) < 0) return std::nullopt;
  const bool holds = system.set(file, record) >= 0;
  system.close(file);
  if (!holds) return std::nullopt;
  return std::filesystem::temp_directory_path();
}
