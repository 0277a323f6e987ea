#include "Common_CPP/file/replace_posix.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/descriptor_posix.h"

namespace {

constexpr std::string_view kTemporaryBegin = ".kx-";
constexpr std::string_view kTemporaryEnd = ".tmp";

/// The name does not grow out of the file's own, which may be as long as the system allows.
CkxDescriptor CreateBeside(int folder, const std::string& path, mode_t mode, std::string& temporary) {
  std::string stem = path.substr(0, path.rfind('/') + 1);
  stem.append(kTemporaryBegin).append(std::to_string(getpid())).append("-");
  CkxDescriptor file;
  for (int attempt = 0; attempt < 1000 && !file; ++attempt) {
    temporary = (stem + std::to_string(attempt)).append(kTemporaryEnd);
    file = CkxDescriptor(openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file && errno != EEXIST) break;
  }
  return file;
}

bool WriteAll(int file, std::span<const unsigned char> bytes, size_t& done) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    done += static_cast<size_t>(written);
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return true;
}

CkxDescriptor FolderOf(int folder, const std::string& path) {
  const std::string name = path.substr(0, path.rfind('/') + 1);
  return CkxDescriptor(openat(folder, name.empty() ? "." : name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::optional<mode_t> ModeOf(int folder, const std::string& path) {
  struct stat status {};
  if (fstatat(folder, path.c_str(), &status, 0) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return status.st_mode & 0777;
}

}  // namespace

bool KxPosixFile_Replace(int folder, const std::string& path, std::span<const unsigned char> bytes,
                         std::optional<mode_t> mode, EkxReplaced lasting, SkxReplaceProgress* progress) {
  const bool isForGood = lasting == EkxReplaced::ForGood;
  const CkxDescriptor place = isForGood ? FolderOf(folder, path) : CkxDescriptor();
  if (isForGood && !place) return false;
  if (!mode) mode = ModeOf(folder, path);
  std::string temporary;
  CkxDescriptor file = CreateBeside(folder, path, mode.value_or(0666), temporary);
  if (!file) return false;

  SkxReplaceProgress unasked;
  SkxReplaceProgress& reached = progress != nullptr ? *progress : unasked;
  reached.isCreated = true;
  bool done = (!mode || fchmod(file.Get(), *mode) == 0) && WriteAll(file.Get(), bytes, reached.written);
  done = done && (!isForGood || KxPosixFile_Flush(file.Get()));
  // A full disk may be told only at the close.
  done = close(file.Release()) == 0 && done;
  done = done && renameat(folder, temporary.c_str(), folder, path.c_str()) == 0;
  if (!done) {
    const int error = errno;
    unlinkat(folder, temporary.c_str(), 0);
    errno = error;
  }
  return done && (!isForGood || KxPosixFile_Flush(place.Get()));
}

bool KxPosixFile_WriteNew(const std::string& path, std::span<const unsigned char> bytes) {
  CkxDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  size_t unasked = 0;
  const bool isWritten = file && WriteAll(file.Get(), bytes, unasked) && KxPosixFile_Flush(file.Get());
  return isWritten && close(file.Release()) == 0;
}

bool KxPosixFile_Flush(int descriptor) {
  while (fsync(descriptor) != 0) {
    if (errno == EINVAL || errno == EOPNOTSUPP) return true;
    if (errno != EINTR) return false;
  }
  return true;
}

bool KxPosixFile_IsTemporary(std::string_view name) {
  return name.starts_with(kTemporaryBegin) && name.ends_with(kTemporaryEnd);
}
