#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <unordered_set>
#include <vector>

#include "Common_CPP/file/folder_names_posix.h"
#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/sharedmemory/sharedmemory.h"
#include "Common_CPP/util/last_error.h"

namespace {

constexpr std::string_view kViewScope = "CkxSharedMemoryView";

/// To copy so much takes less than to map it, to touch it and to take the mapping away again.
constexpr size_t kMaxCopiedBytes = 262144;

/// The file of a section, which may be believed. None with `errno` set.
CkxDescriptor OpenSectionFile(const CkxDescriptor& folder, const std::string& file, struct stat& status) {
  // Not blocking: what lies there may be a pipe that nobody writes to.
  CkxDescriptor section(openat(folder.Get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!section || fstat(section.Get(), &status) != 0) return CkxDescriptor();
  return KxPosix_IsTrustedFile(folder, file, status, kViewScope) ? std::move(section) : CkxDescriptor();
}

/// As many bytes from the file's beginning on. False with `errno` set, also when it has fewer: a section loses none.
bool ReadBytes(const CkxDescriptor& section, std::span<unsigned char> bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = pread(section.Get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (count == 0) errno = EIO;
    if (count == 0 || (count < 0 && errno != EINTR)) return false;
    if (count > 0) done += static_cast<size_t>(count);
  }
  return true;
}

/// The section `file` whole: copied, or mapped and then without a copy. False with the thread's last error set.
bool ReadSection(const CkxDescriptor& folder, const std::string& file, std::span<const unsigned char>& bytes,
                 std::unique_ptr<unsigned char[]>& copy) {
  struct stat status {};
  const CkxDescriptor section = OpenSectionFile(folder, file, status);
  if (!section) return KxLastError_Fail();
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0) return true;
  if (size > kMaxCopiedBytes) {
    void* address = mmap(nullptr, size, PROT_READ, MAP_SHARED, section.Get(), 0);
    if (address == MAP_FAILED) return KxLastError_Fail();
    bytes = {static_cast<const unsigned char*>(address), size};
    return true;
  }
  auto read = std::make_unique_for_overwrite<unsigned char[]>(size);
  if (!ReadBytes(section, {read.get(), size})) return KxLastError_Fail();
  bytes = {read.get(), size};
  copy = std::move(read);
  return true;
}

bool IsTheFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

struct CkxHeldSection::State {
  CkxDescriptor folder;
  std::string file;
  CkxDescriptor section;  // for as long as it is open no other file is like it
  struct stat status {};
  std::vector<unsigned char> bytes;
};

CkxHeldSection::CkxHeldSection() = default;
CkxHeldSection::CkxHeldSection(CkxHeldSection&&) noexcept = default;
CkxHeldSection& CkxHeldSection::operator=(CkxHeldSection&&) noexcept = default;
CkxHeldSection::~CkxHeldSection() = default;

bool CkxHeldSection::Open(CkxTextView name) {
  _state.reset();
  auto state = std::make_unique<State>();
  if (!KxPosix_RuntimeFileName(name, state->file)) return KxLastError_Fail();
  state->folder = KxPosix_OpenRuntimeFolder(false);
  if (!state->folder) return KxLastError_Fail();
  state->section = OpenSectionFile(state->folder, state->file, state->status);
  if (!state->section) return KxLastError_Fail();
  state->bytes.resize(static_cast<size_t>(state->status.st_size));
  if (!ReadBytes(state->section, state->bytes)) return KxLastError_Fail();
  _state = std::move(state);
  return true;
}

std::span<const unsigned char> CkxHeldSection::Bytes() const {
  return _state != nullptr ? std::span<const unsigned char>(_state->bytes) : std::span<const unsigned char>();
}

bool CkxHeldSection::IsInForce() const {
  struct stat status {};
  if (_state == nullptr || !KxPosix_IsRuntimeFolder(_state->folder) ||
      fstatat(_state->folder.Get(), _state->file.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !IsTheFile(status, _state->status) || status.st_size != _state->status.st_size ||
      !KxPosix_IsTrustedFile(_state->folder, _state->file, status, kViewScope)) {
    return false;
  }
  std::vector<unsigned char> bytes(_state->bytes.size());
  return ReadBytes(_state->section, bytes) && bytes == _state->bytes;
}

bool CkxSharedMemoryView::Open(CkxTextView name) {
  Close();
  std::string file;
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  return folder ? ReadSection(folder, file, _bytes, _copy) : KxLastError_Fail();
}

bool CkxSharedMemoryView::OpenBeside(const CkxHeldSection& neighbour, CkxTextView name) {
  Close();
  std::string file;
  if (!KxPosix_RuntimeFileName(name, file)) return KxLastError_Fail();
  return ReadSection(neighbour._state->folder, file, _bytes, _copy);
}

void CkxSharedMemoryView::Close() {
  if (_copy == nullptr && !_bytes.empty()) munmap(const_cast<unsigned char*>(_bytes.data()), _bytes.size());
  _copy.reset();
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
  if (!section->folder ||
      !KxPosixFile_Replace(section->folder.Get(), section->file, bytes, 0444, EkxReplaced::UntilRestart))
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
  for (const std::string& file : KxPosixFolder_Names(folder.Get()).value_or(std::vector<std::string>())) {
    const bool section = file.starts_with(begin) && !keptFiles.contains(file);
    if (section || KxPosixFile_IsTemporary(file)) unlinkat(folder.Get(), file.c_str(), 0);
  }
}

bool KxSharedMemory_OutlivesPublisher() { return true; }
