#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Common_CPP/file/own_log.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

/// A second name would let it be another file that somebody wants written to.
bool IsOwnAlone(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1 &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Not through a link, and never waiting for a pipe's reader.
CkxDescriptor OpenOwn(int folder, const std::string& name) {
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  CkxDescriptor file(openat(folder, name.c_str(), kFlags, S_IRUSR | S_IWUSR));
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0) return CkxDescriptor();
  errno = EACCES;
  return IsOwnAlone(status) ? std::move(file) : CkxDescriptor();
}

bool NamesFile(int folder, const std::string& name, int file) {
  struct stat named {};
  struct stat open {};
  return fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && fstat(file, &open) == 0 &&
         named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

}  // namespace

CkxOwnLog::~CkxOwnLog() {
  Close();
  CkxDescriptor(static_cast<int>(_folder)).Close();
}

bool CkxOwnLog::Open(CkxTextView path) {
  const std::string native = KxText_ToUtf8(path);
  const size_t slash = native.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : native.substr(0, slash + 1);
  _name = native.substr(slash + 1);  // npos is before the first
  errno = ENOENT;
  if (_name.empty() || native.find('\0') != std::string::npos) return KxLastError_Fail();
  _folder = CkxDescriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)).Release();
  return (_folder >= 0 && Reopen()) || KxLastError_Fail();
}

std::optional<uint64_t> CkxOwnLog::Size() const {
  struct stat status {};
  if (fstat(static_cast<int>(_file), &status) != 0) return std::nullopt;
  return static_cast<uint64_t>(status.st_size);
}

bool CkxOwnLog::Append(std::string_view bytes) {
  if (_file < 0 && !Reopen()) return false;
  ssize_t count = -1;
  do {
    count = write(static_cast<int>(_file), bytes.data(), bytes.size());
  } while (count < 0 && errno == EINTR);
  return count == static_cast<ssize_t>(bytes.size());
}

bool CkxOwnLog::Rotate() {
  const int folder = static_cast<int>(_folder);
  const std::string aside = _name + ".1";
  if (NamesFile(folder, _name, static_cast<int>(_file)) &&
      renameat(folder, _name.c_str(), folder, aside.c_str()) != 0) {
    return false;
  }
  Close();
  return Reopen();
}

bool CkxOwnLog::Reopen() {
  _file = OpenOwn(static_cast<int>(_folder), _name).Release();
  return _file >= 0;
}

void CkxOwnLog::Close() {
  CkxDescriptor(static_cast<int>(_file)).Close();
  _file = -1;
}
