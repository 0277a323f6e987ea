#include <fcntl.h>
#include <sys/stat.h>

#include <charconv>
#include <string>

#include "Common_CPP/file/replace_posix.h"
#include "Common_CPP/file/runtime_folder_posix.h"
#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"

namespace {

// What a file of the store holds: what the value is, and the value.
constexpr std::string_view kText = "text:";
constexpr std::string_view kNumber = "number:";
constexpr size_t kMaxValueBytes = 64 * 1024;

bool FailWithErrno(int error) {
  errno = error;
  return KxLastError_Fail();
}

bool FileOf(CkxTextView key, CkxTextView value, std::string& file) {
  KxWString name = KXW("Registry\\") + key.ToString() + KXW("\\") + value.ToString();
  for (WCHAR& unit : name) unit = KxText_Fold(unit);
  return KxPosix_RuntimeFileName(name, file) || KxLastError_Fail();
}

bool IsTrustedValue(const CkxDescriptor& folder, const std::string& name, const CkxDescriptor& file) {
  struct stat status {};
  return (fstat(file.Get(), &status) == 0 && KxPosix_IsTrustedFile(folder, name, status, "KxRegistry")) ||
         KxLastError_Fail();
}

bool ReadWhole(const CkxDescriptor& file, std::string& content) {
  content.resize(kMaxValueBytes + 1);
  size_t size = 0;
  for (ssize_t count = 1; count > 0 && size < content.size(); size += static_cast<size_t>(count)) {
    do {
      count = read(file.Get(), content.data() + size, content.size() - size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) return KxLastError_Fail();
  }
  if (size > kMaxValueBytes) return FailWithErrno(EFBIG);
  content.resize(size);
  return true;
}

/// What stands behind `kind`, in the file of the value.
std::optional<std::string> Stored(CkxTextView key, CkxTextView value, std::string_view kind) {
  std::string name;
  if (!FileOf(key, value, name)) return std::nullopt;
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  // Not blocking: what lies there may be a pipe that nobody writes to.
  const CkxDescriptor file(folder ? openat(folder.Get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)
                                  : -1);
  std::string content;
  if (!file) {
    KxLastError_SetFromSystem();
  } else if (IsTrustedValue(folder, name, file) && ReadWhole(file, content)) {
    if (content.starts_with(kind)) return content.substr(kind.size());
    FailWithErrno(EINVAL);
  }
  return std::nullopt;
}

bool Store(CkxTextView key, CkxTextView value, std::string content) {
  std::string name;
  if (!FileOf(key, value, name)) return false;
  if (content.size() > kMaxValueBytes) return FailWithErrno(EFBIG);
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(true);
  const auto* const bytes = reinterpret_cast<const unsigned char*>(content.data());
  return (folder &&
          KxPosixFile_Replace(folder.Get(), name, {bytes, content.size()}, 0644, EkxReplaced::UntilRestart)) ||
         KxLastError_Fail();
}

}  // namespace

std::optional<KxWString> KxRegistry_Text(CkxTextView key, CkxTextView value, EkxRegistryView /*view*/) {
  const std::optional<std::string> stored = Stored(key, value, kText);
  if (!stored) return std::nullopt;
  std::optional<KxWString> text = KxText_FromUtf8(*stored);
  if (!text) FailWithErrno(EINVAL);
  return text;
}

std::optional<uint32_t> KxRegistry_Number(CkxTextView key, CkxTextView value) {
  const std::optional<std::string> stored = Stored(key, value, kNumber);
  if (!stored) return std::nullopt;
  const char* const end = stored->data() + stored->size();
  uint32_t number = 0;
  const std::from_chars_result read = std::from_chars(stored->data(), end, number);
  if (read.ec == std::errc() && read.ptr == end) return number;
  FailWithErrno(EINVAL);
  return std::nullopt;
}

bool KxRegistry_SetText(CkxTextView key, CkxTextView value, CkxTextView text) {
  return Store(key, value, std::string(kText) + KxText_ToUtf8(text));
}

bool KxRegistry_SetNumber(CkxTextView key, CkxTextView value, uint32_t number) {
  return Store(key, value, std::string(kNumber) + std::to_string(number));
}

bool KxRegistry_Remove(CkxTextView key, CkxTextView value) {
  std::string name;
  if (!FileOf(key, value, name)) return false;
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  if (folder && unlinkat(folder.Get(), name.c_str(), 0) == 0) return true;
  return errno == ENOENT || KxLastError_Fail();
}
