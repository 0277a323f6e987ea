#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <unordered_set>
#include <vector>

#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"

namespace {

/// Read before any is removed: what a listing that goes on then shows is anybody's guess.
std::vector<std::string> FilesIn(const CkxDescriptor& folder) {
  std::vector<std::string> files;
  CkxDescriptor readable(openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DIR* const listing = readable ? fdopendir(readable.Get()) : nullptr;
  if (listing == nullptr) return files;
  readable.Release();
  while (const dirent* const entry = readdir(listing)) files.emplace_back(entry->d_name);
  closedir(listing);
  return files;
}

}  // namespace

bool CkxSharedMemoryView::Open(CkxTextView name) {
  Close();
  std::string file;
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  if (!folder) return KxLastError_Fail();
  // Not blocking: what lies there may be a pipe that nobody writes to.
  const CkxDescriptor section(openat(folder.Get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!section || fstat(section.Get(), &status) != 0) return KxLastError_Fail();
  if (!KxPosix_IsTrustedFile(folder, file, status, "CkxSharedMemoryView")) return KxLastError_Fail();
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0) return true;
  void* address = mmap(nullptr, size, PROT_READ, MAP_SHARED, section.Get(), 0);
  if (address == MAP_FAILED) return KxLastError_Fail();
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
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  // Made before the file is in its place: what is published is always known to be.
  auto section = std::make_unique<Section>(Section{KxPosix_OpenRuntimeFolder(true), std::move(file)});
  if (!section->folder || !KxPosixFile_Replace(section->folder.Get(), section->file, bytes, 0444))
    return KxLastError_Fail();
  if (_section != nullptr && _section->file != section->file) Remove();
  _section = std::move(section);
  return true;
}

bool CkxSharedMemoryPublication::PublishNew(CkxTextView name, std::span<const unsigned char> bytes) {
  std::string file;
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(true);
  struct stat status {};
  if (folder && fstatat(folder.Get(), file.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return KxLastError_Fail();
  }
  return Publish(name, bytes);
}

void CkxSharedMemoryPublication::Remove() {
  if (_section != nullptr) unlinkat(_section->folder.Get(), _section->file.c_str(), 0);
  _section.reset();
}

bool KxSharedMemory_Remove(CkxTextView name) {
  std::string file;
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  const bool removed = folder && unlinkat(folder.Get(), file.c_str(), 0) == 0;
  return removed || errno == ENOENT || KxLastError_Fail();
}

void KxSharedMemory_RemoveLeftBehind(CkxTextView prefix, std::span<const KxWString> kept) {
  std::string begin;
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  if (!folder || !KxPosix_RuntimeFileName(prefix, begin)) return;
  std::unordered_set<std::string> keptFiles;
  for (const KxWString& name : kept) {
    std::string file;
    if (KxPosix_RuntimeFileName(name, file)) keptFiles.insert(std::move(file));
  }
  for (const std::string& file : FilesIn(folder)) {
    const bool section = file.starts_with(begin) && !keptFiles.contains(file);
    if (section || KxPosixFile_IsTemporary(file)) unlinkat(folder.Get(), file.c_str(), 0);
  }
}

bool KxSharedMemory_OutlivesPublisher() { return true; }
