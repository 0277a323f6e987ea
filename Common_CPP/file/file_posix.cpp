#include "Common_CPP/file/file.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <filesystem>
#include <limits>

#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

/// The system's name; a NUL in it, at which the system would end it, makes it name no file.
bool NativePath(CkxTextView path, std::string& native) {
  native = KxText_ToUtf8(path);
  errno = ENOENT;
  return !native.empty() && native.find('\0') == std::string::npos;
}

bool ToStatus(const struct stat& native, SkxFileStatus& status) {
  errno = EACCES;
  if (!S_ISREG(native.st_mode)) return false;
  status.size = static_cast<uint64_t>(native.st_size);
  status.modificationTime = KxFileTime_FromUnix(native.st_mtim.tv_sec, native.st_mtim.tv_nsec);
  status.changeTime = KxFileTime_FromUnix(native.st_ctim.tv_sec, native.st_ctim.tv_nsec);
  status.identity = {native.st_dev, native.st_ino};
  return true;
}

CkxDescriptor OpenExisting(CkxTextView path, int flags) {
  std::string native;
  CkxDescriptor file(NativePath(path, native) ? open(native.c_str(), flags | O_CLOEXEC) : -1);
  if (!file) KxLastError_Fail();
  return file;
}

std::optional<struct stat> NativeStatus(CkxTextView path) {
  std::string native;
  struct stat status {};
  if (NativePath(path, native) && stat(native.c_str(), &status) == 0) return status;
  KxLastError_Fail();
  return std::nullopt;
}

std::optional<std::string> UserName(uid_t user) {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < 1024 * 1024) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr) return std::nullopt;
  return found->pw_name;
}

/// The user of S-1-22-1-uid.
std::optional<uid_t> UserOf(std::string_view sid) {
  constexpr std::string_view kUsers = "S-1-22-1-";
  if (!sid.starts_with(kUsers)) return std::nullopt;
  uid_t user = 0;
  const char* end = sid.data() + sid.size();
  const auto parsed = std::from_chars(sid.data() + kUsers.size(), end, user);
  if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
  return user;
}

struct SkxWellKnown {
  std::string_view sid;
  const WCHAR* name;
};

constexpr SkxWellKnown kWellKnown[] = {
    {"S-1-1-0", KXW("Everyone")},
    {"S-1-5-18", KXW("NT AUTHORITY\\SYSTEM")},
    {"S-1-22-1-0", KXW("NT AUTHORITY\\SYSTEM")},
    {"S-1-5-32-544", KXW("BUILTIN\\Administrators")},
    {"S-1-5-32-545", KXW("BUILTIN\\Users")},
};

}  // namespace

bool CkxFileReader::Open(CkxTextView path) {
  // Not blocking: the name may be a pipe's that nobody writes to.
  return Take(OpenExisting(path, O_RDONLY | O_NONBLOCK | O_NOCTTY).Release());
}

bool CkxFileReader::OpenForFacts(CkxTextView path) {
  if (Open(path)) return true;
  return KxLastError_Get() == kKxErrorAccessDenied && Take(OpenExisting(path, O_PATH).Release());
}

bool CkxFileReader::Take(intptr_t handle) {
  Close();
  if (handle < 0) return false;
  _handle = handle;
  SkxFileStatus status;
  if (Status(status)) return true;
  Close();
  return false;
}

bool CkxFileReader::Status(SkxFileStatus& status) const {
  struct stat native {};
  return (fstat(static_cast<int>(_handle), &native) == 0 && ToStatus(native, status)) || KxLastError_Fail();
}

std::optional<CkxSid> CkxFileReader::Owner() const {
  struct stat native {};
  if (fstat(static_cast<int>(_handle), &native) == 0) return KxPosixAccount_UserSid(native.st_uid);
  KxLastError_Fail();
  return std::nullopt;
}

std::optional<KxWString> CkxFileReader::FinalPath() const {
  constexpr std::string_view kDeleted = " (deleted)";  // behind the path of a file that has no name any more
  const std::string link = "/proc/self/fd/" + std::to_string(_handle);
  char path[PATH_MAX];  // the system tells no longer one
  const ssize_t size = readlink(link.c_str(), path, sizeof(path));
  if (size <= 0 || static_cast<size_t>(size) == sizeof(path) || path[0] != '/') return std::nullopt;
  const std::string_view text(path, static_cast<size_t>(size));
  if (text.ends_with(kDeleted)) return std::nullopt;
  return KxText_FromUtf8(text);
}

std::optional<size_t> CkxFileReader::ReadAt(uint64_t offset, std::span<unsigned char> bytes) const {
  constexpr uint64_t kLargest = std::numeric_limits<off_t>::max();  // no file is so long
  bytes = bytes.first(static_cast<size_t>(std::min<uint64_t>(bytes.size(), kLargest - std::min(offset, kLargest))));
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count =
        pread(static_cast<int>(_handle), bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (count == 0) break;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      _hasFailed = _hasFailed || errno != EBADF;  // which is the one of a file that may not be read
      KxLastError_SetFromSystem();
      return std::nullopt;
    }
    done += static_cast<size_t>(count);
  }
  return done;
}

void CkxFileReader::Close() {
  CkxDescriptor(static_cast<int>(_handle)).Close();
  _handle = -1;
  _hasFailed = false;
}

std::optional<SkxFileStatus> KxFile_Status(CkxTextView path) {
  const std::optional<struct stat> native = NativeStatus(path);
  SkxFileStatus status;
  if (!native) return std::nullopt;
  if (ToStatus(*native, status)) return status;
  KxLastError_Fail();
  return std::nullopt;
}

std::optional<KxWString> KxFile_FullPath(CkxTextView path) {
  std::string native;
  std::error_code error;
  if (!NativePath(path, native)) return std::nullopt;
  const std::filesystem::path full = std::filesystem::absolute(native, error);
  if (error) return std::nullopt;
  return KxText_FromUtf8(full.lexically_normal().native());
}

bool KxFile_ReplaceAll(CkxTextView path, std::span<const unsigned char> bytes, SkxReplaceProgress* progress) {
  std::string native;
  return (NativePath(path, native) &&
          KxPosixFile_Replace(AT_FDCWD, native, bytes, std::nullopt, EkxReplaced::ForGood, progress)) ||
         KxLastError_Fail();
}

bool KxFile_WriteNew(CkxTextView path, std::span<const unsigned char> bytes) {
  std::string native;
  return (NativePath(path, native) && KxPosixFile_WriteNew(native, bytes)) || KxLastError_Fail();
}

KxWString KxSid_AccountName(const CkxSid& sid) {
  const std::string text = sid.ToUtf8();
  for (const SkxWellKnown& known : kWellKnown) {
    if (known.sid == text) return known.name;
  }
  const std::optional<uid_t> user = UserOf(text);
  const std::optional<std::string> name = user ? UserName(*user) : std::nullopt;
  const std::optional<KxWString> wide = name ? KxText_FromUtf8(*name) : std::nullopt;
  return wide ? KXW("Unix User\\") + *wide : sid.ToText();
}
