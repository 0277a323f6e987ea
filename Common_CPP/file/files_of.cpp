#include "Common_CPP/file/files_of.h"

#include <filesystem>

bool KxFile_ForEach(CkxTextView path, const std::function<void(CkxTextView)>& visit) {
  const std::filesystem::path native(path.ToString());
  std::error_code error;
  if (!std::filesystem::is_directory(native, error)) {
    visit(path);
    return true;
  }
  for (std::filesystem::directory_iterator entry(native, error), end; !error && entry != end; entry.increment(error)) {
    const KxWString file = entry->path().string<WCHAR>();
    visit(file);
  }
  return !error;
}
