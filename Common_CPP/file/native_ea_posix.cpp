// Extended attributes of a POSIX file under "user.": the name in capitals, the value's bytes as they are.
//
// Names that differ in case alone are several to the system, and one to the library: the one in capitals counts, as
// everything is written here, else the first that the system lists; and writing removes the others. A value of no bytes
// is no attribute.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/file/kernel_ea_mark_posix.h"
#include "Common_CPP/file/native_ea.h"
#include "Common_CPP/file/xattr_posix.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/text.h"

namespace {

/// Read-only is what its owner may not write.
constexpr mode_t kOwnerWrites = S_IWUSR;
constexpr size_t kMaxAllBytes = size_t{64} << 20;  // of one file; some file systems have no limit of their own

int EaFd(intptr_t file) { return static_cast<int>(file); }

/// Whether the caller may write it, whatever it is open for: attributes need no more, and a running program can be
/// opened for nothing else than reading. Where that cannot be found out, setting one will tell.
bool MayWrite(int file) {
  return faccessat(file, "", W_OK, AT_EACCESS | AT_EMPTY_PATH) == 0 || (errno != EACCES && errno != EROFS);
}

long OpenEaFile(CkxTextView path, unsigned access, intptr_t& file) {
  const std::string native = KxText_ToUtf8(path);
  errno = ENOENT;
  if (native.empty() || native.find('\0') != std::string::npos) return KxXattr_StatusOfErrno();
  // Not blocking: the name may be a pipe's that nobody writes to. Not 0, which is no handle where one is a pointer.
  CkxDescriptor opened(open(native.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (opened && opened.Get() == 0) opened = CkxDescriptor(fcntl(opened.Get(), F_DUPFD_CLOEXEC, 1));
  if (!opened || ((access & KxEaWrite) != 0 && !MayWrite(opened.Get()))) return KxXattr_StatusOfErrno();
  file = opened.Release();
  return kKxStatusSuccess;
}

void CloseEaFile(intptr_t file) { CkxDescriptor(EaFd(file)).Close(); }

long FileIdOfEaFile(intptr_t file, uint64_t& id) {
  struct stat native {};
  if (fstat(EaFd(file), &native) != 0) return KxXattr_StatusOfErrno();
  id = native.st_ino;
  return kKxStatusSuccess;
}

/// The kernel's attributes can be removed by anybody who may write the file, and set by nobody.
long SetOne(int file, const SkxEaRecord& record) {
  if (!KxEaName_IsValid(record.name)) return kKxStatusInvalidEaName;
  if (!KxEaName_IsKernel(record.name)) {
    return record.value.empty() ? KxXattr_Remove(file, record.name) : KxXattr_Set(file, record.name, record.value);
  }
  return record.value.empty() ? KxKernelEa_Remove(file, record.name) : kKxStatusAccessDenied;
}

long SetEas(intptr_t file, SkxNativeEa::Bytes list) {
  if (!KxEaList_IsWellFormed(list)) return kKxStatusEaListInconsistent;
  long status = kKxStatusSuccess;
  KxEaList_ForEach(list, [&](const SkxEaRecord& record, SkxNativeEa::Bytes) {
    status = SetOne(EaFd(file), record);
    return status >= 0;
  });
  return status;
}

long Deliver(const std::vector<unsigned char>& list, std::span<unsigned char> answer, size_t& written) {
  if (list.empty()) return kKxStatusNoEasOnFile;
  if (list.size() > answer.size()) return kKxStatusBufferTooSmall;
  std::copy(list.begin(), list.end(), answer.begin());
  written = list.size();
  return kKxStatusSuccess;
}

long QueryAll(int file, std::vector<unsigned char>& list) {
  std::vector<std::string> names;
  long status = KxXattr_Names(file, names);
  size_t last = 0;
  for (const std::string& name : names) {
    std::vector<unsigned char> value;
    if (status >= 0) status = KxXattr_Get(file, name, value);
    if (status == kKxStatusNoEasOnFile) status = kKxStatusSuccess;  // gone meanwhile
    if (status >= 0 && list.size() > kMaxAllBytes) status = kKxStatusEaTooLarge;
    if (status < 0) return status;
    const std::string upper = KxEaName_Upper(name);
    if (!value.empty()) last = KxEaList_Append(list, last, {0, 0, upper, value});
  }
  return status;
}

long QueryEas(intptr_t file, SkxNativeEa::Bytes question, std::span<unsigned char> answer, size_t& written) {
  written = 0;
  std::vector<unsigned char> list;
  if (question.empty()) {
    const long status = QueryAll(EaFd(file), list);
    return status < 0 ? status : Deliver(list, answer, written);
  }
  const auto name = KxEaQuery_Name(question);
  if (!name) return kKxStatusEaListInconsistent;
  std::vector<unsigned char> value;
  const std::string upper = KxEaName_Upper(*name);
  const long status = KxXattr_Find(EaFd(file), upper, value);
  if (status < 0) return status;
  if (!value.empty()) KxEaList_Append(list, 0, {0, 0, upper, value});
  return Deliver(list, answer, written);
}

long QueryEaSize(intptr_t file, uint32_t& bytes) {
  std::vector<unsigned char> list;
  const long status = QueryAll(EaFd(file), list);
  if (status >= 0) bytes = static_cast<uint32_t>(list.size());
  return status;
}

long IsEaFileReadOnly(intptr_t file, bool& readOnly) {
  struct stat native {};
  if (fstat(EaFd(file), &native) != 0) return KxXattr_StatusOfErrno();
  readOnly = (native.st_mode & kOwnerWrites) == 0;
  return kKxStatusSuccess;
}

long SetEaFileReadOnly(intptr_t file, bool readOnly) {
  constexpr mode_t kPermissions = 07777;
  struct stat native {};
  if (fstat(EaFd(file), &native) != 0) return KxXattr_StatusOfErrno();
  const mode_t mode = native.st_mode & kPermissions;
  const mode_t changed = readOnly ? mode & ~kOwnerWrites : mode | kOwnerWrites;
  return fchmod(EaFd(file), changed) == 0 ? kKxStatusSuccess : KxXattr_StatusOfErrno();
}

bool AreKernelEasCurrent(intptr_t file) { return KxKernelEaMark_Holds(EaFd(file)); }

bool HasKernelEas() { return true; }

long SetKernelEa(void* file, const void* record, unsigned long size) {
  const auto parts = KxEaRecord_Read({static_cast<const unsigned char*>(record), size});
  if (!parts) return kKxStatusEaListInconsistent;
  if (!KxEaName_IsValid(parts->name) || !KxEaName_IsKernel(parts->name)) return kKxStatusInvalidEaName;
  return KxKernelEa_SetUnderMark(EaFd(reinterpret_cast<intptr_t>(file)), *parts);
}

}  // namespace

const SkxNativeEa& KxNativeEa_OfSystem() {
  static constexpr SkxNativeEa kTable = {
      OpenEaFile,       CloseEaFile,       FileIdOfEaFile,      SetEas,       QueryEas,   QueryEaSize,
      IsEaFileReadOnly, SetEaFileReadOnly, AreKernelEasCurrent, HasKernelEas, SetKernelEa};
  return kTable;
}
