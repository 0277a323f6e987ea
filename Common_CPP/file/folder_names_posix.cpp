#include "Common_CPP/file/folder_names_posix.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "Common_CPP/util/descriptor_posix.h"

namespace {

/// Closes the list with the descriptor that it was made of.
struct DirCloser {
  void operator()(DIR* list) const { closedir(list); }
};

}  // namespace

std::optional<std::vector<std::string>> KxPosixFolder_Names(int folder) {
  CkxDescriptor readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, DirCloser> list(readable ? fdopendir(readable.Get()) : nullptr);
  if (list == nullptr) return std::nullopt;
  readable.Release();  // the list's now
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* const entry = readdir(list.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) return std::nullopt;
  return names;
}
