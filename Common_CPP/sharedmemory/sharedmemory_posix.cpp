#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxFileName = 200;  // bytes; file systems allow 255

bool Fail() {
  KxLastError_SetFromSystem();
  return false;
}

/// The file of a section: letters, digits, '_' and '-' stand for themselves, every other byte is "%XX". So names stay
/// apart, none leaves the folder, and none is taken for a temporary file, which begins with a dot.
bool FileName(CkxTextView name, std::string& file) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
  constexpr std::string_view kHex = "0123456789ABCDEF";
  if (!KxSharedMemory_IsName(name) || name.Size() > kMaxFileName) {
    errno = EINVAL;
    return false;
  }
  for (const char unit : KxText_ToUtf8(name)) {
    const auto byte = static_cast<unsigned char>(unit);
    if (kPlain.find(unit) != std::string_view::npos) {
      file += unit;
    } else {
      file += {'%', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  errno = ENAMETOOLONG;
  return file.size() <= kMaxFileName;
}

bool IsTrustedSection(const struct stat& status) {
  return S_ISREG(status.st_mode) && KxPosix_IsTrustedOwner(status.st_uid) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

bool CkxSharedMemoryView::Open(CkxTextView name) {
  Close();
  std::string file;
  if (!FileName(name, file)) return Fail();
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  if (!folder) return Fail();
  // Not blocking: what lies there may be a pipe that nobody writes to.
  const CkxDescriptor section(openat(folder.Get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!section || fstat(section.Get(), &status) != 0) return Fail();
  if (!IsTrustedSection(status)) {
    errno = EACCES;
    return Fail();
  }
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0) return true;
  void* address = mmap(nullptr, size, PROT_READ, MAP_SHARED, section.Get(), 0);
  if (address == MAP_FAILED) return Fail();
  _bytes = {static_cast<const unsigned char*>(address), size};
  return true;
}

void CkxSharedMemoryView::Close() {
  if (!_bytes.empty()) munmap(const_cast<unsigned char*>(_bytes.data()), _bytes.size());
  _bytes = {};
}

struct CkxSharedMemoryPublication::Section {
  CkxDescriptor folder;
  std::string file;
};

CkxSharedMemoryPublication::CkxSharedMemoryPublication() = default;
CkxSharedMemoryPublication::CkxSharedMemoryPublication(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication& CkxSharedMemoryPublication::operator=(CkxSharedMemoryPublication&&) noexcept = default;
CkxSharedMemoryPublication::~CkxSharedMemoryPublication() = default;

bool CkxSharedMemoryPublication::Publish(CkxTextView name, std::span<const unsigned char> bytes) {
  std::string file;
  if (!FileName(name, file)) return Fail();
  CkxDescriptor folder = KxPosix_OpenRuntimeFolder(true);
  if (!folder || !KxPosixFile_Replace(folder.Get(), file, bytes, 0444)) return Fail();
  if (_section != nullptr && _section->file != file) Remove();
  _section = std::make_unique<Section>(Section{std::move(folder), std::move(file)});
  return true;
}

void CkxSharedMemoryPublication::Remove() {
  if (_section != nullptr) unlinkat(_section->folder.Get(), _section->file.c_str(), 0);
  _section.reset();
}
