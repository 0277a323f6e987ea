#include "Common_CPP/file/held_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "Common_CPP/file/folder_names_posix.h"
#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr uint32_t kErrorNotSupported = 50;

/// A name's bytes need not be UTF-8. All that is read of such a name is that it is none of ours.
KxWString NameOf(const std::string& bytes) { return KxText_FromUtf8(bytes).value_or(KxWString(1, WCHAR{0xFFFD})); }

}  // namespace

struct CkxHeldFolder::Native {
  CkxDescriptor folder;
};

CkxHeldFolder::CkxHeldFolder() : _native(std::make_unique<Native>()) {}
CkxHeldFolder::~CkxHeldFolder() = default;

bool CkxHeldFolder::Open(CkxTextView path) {
  _native->folder = CkxDescriptor(open(KxText_ToUtf8(path).c_str(), kFolderFlags));
  return _native->folder ? true : KxLastError_Fail();
}

bool CkxHeldFolder::IsAt(CkxTextView path) const {
  struct stat held {};
  struct stat named {};
  return fstat(_native->folder.Get(), &held) == 0 && stat(KxText_ToUtf8(path).c_str(), &named) == 0 &&
         held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

std::optional<std::vector<KxWString>> CkxHeldFolder::Names() const {
  const std::optional<std::vector<std::string>> found = KxPosixFolder_Names(_native->folder.Get());
  if (!found) {
    KxLastError_SetFromSystem();
    return std::nullopt;
  }
  std::vector<KxWString> names;
  names.reserve(found->size());
  for (const std::string& name : *found) names.push_back(NameOf(name));
  return names;
}

bool CkxHeldFolder::OpenFile(CkxTextView name, CkxFileReader& file) const {
  file.Close();
  // Not blocking: the name may be a pipe's that nobody writes to.
  CkxDescriptor opened(
      openat(_native->folder.Get(), KxText_ToUtf8(name).c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!opened) return KxLastError_Fail();
  file._handle = opened.Release();
  SkxFileStatus status;
  if (file.Status(status)) return true;
  file.Close();
  return false;
}

bool CkxHeldFolder::Flush() const { return KxPosixFile_Flush(_native->folder.Get()) || KxLastError_Fail(); }

std::optional<KxWString> KxFolder_Place(CkxTextView path) {
  std::error_code error;
  const fs::path folder = fs::absolute(fs::path(KxText_ToUtf8(path)) / "", error).parent_path();
  const fs::path place = error ? fs::path() : fs::weakly_canonical(folder, error);
  if (!error) return KxText_FromUtf8(place.native());
  errno = error.value();
  KxLastError_SetFromSystem();
  return std::nullopt;
}

bool KxFolder_Rename(CkxTextView from, CkxTextView to) {
  return rename(KxText_ToUtf8(from).c_str(), KxText_ToUtf8(to).c_str()) == 0 || KxLastError_Fail();
}

bool KxFolder_Exchange(CkxTextView a, CkxTextView b) {
  if (renameat2(AT_FDCWD, KxText_ToUtf8(a).c_str(), AT_FDCWD, KxText_ToUtf8(b).c_str(), RENAME_EXCHANGE) == 0) {
    return true;
  }
  if (errno == EINVAL || errno == ENOSYS) {
    KxLastError_Set(kErrorNotSupported);
    return false;
  }
  return KxLastError_Fail();
}
