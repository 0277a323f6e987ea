#include "Common_CPP/file/kernel_ea_mark_posix.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <ctime>

#include "Common_CPP/file/xattr_posix.h"
#include "Common_CPP/util/nt_status.h"

namespace {

// A colon is in no attribute's name, so that nobody lists, sets or deletes the mark as one.
constexpr const char* kMarkName = "user.$KERNEL:MARK";
constexpr int64_t kFirstSlack = 200'000;  // nanoseconds from looking at the clock to the mark being set
constexpr int kAttempts = 6;              // each with twice the slack

struct EaMark {
  uint64_t device, inode, size;
  int64_t modified, changedFrom, changedUntil;
};
static_assert(sizeof(EaMark) == 48, "as it is stored");

int64_t MarkTime(const timespec& time) { return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; }

int64_t MarkClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return MarkTime(now);
}

bool MarkOfNow(int file, EaMark& status) {
  struct stat native {};
  if (fstat(file, &native) != 0) return false;
  status = {native.st_dev,
            native.st_ino,
            static_cast<uint64_t>(native.st_size),
            MarkTime(native.st_mtim),
            MarkTime(native.st_ctim),
            MarkTime(native.st_ctim)};
  return true;
}

bool Fits(const EaMark& mark, const EaMark& status) {
  return mark.device == status.device && mark.inode == status.inode && mark.size == status.size &&
         mark.modified == status.modified && mark.changedFrom <= status.changedFrom &&
         status.changedFrom <= mark.changedUntil;
}

long WriteMark(int file) {
  int64_t slack = kFirstSlack;
  for (int attempt = 0; attempt < kAttempts; ++attempt, slack *= 2) {
    EaMark mark{};
    if (!MarkOfNow(file, mark)) return KxXattr_StatusOfErrno();
    mark.changedUntil = MarkClock() + slack;
    if (fsetxattr(file, kMarkName, &mark, sizeof(mark), 0) != 0) return KxXattr_StatusOfErrno();
    if (KxKernelEaMark_Holds(file)) return kKxStatusSuccess;
  }
  return kKxStatusUnsuccessful;  // a file system with a clock of its own, or somebody who keeps changing the file
}

long KernelNames(int file, std::vector<std::string>& names) {
  const long status = KxXattr_Names(file, names);
  std::erase_if(names, [](const std::string& name) { return !KxEaName_IsKernel(name); });
  return status;
}

long RemoveStale(int file) {
  std::vector<std::string> names;
  long status = KernelNames(file, names);
  for (const std::string& name : names) {
    if (status >= 0) status = KxXattr_Remove(file, name);
  }
  return status;
}

}  // namespace

bool KxKernelEaMark_Holds(int file) {
  EaMark mark{};
  EaMark status{};
  return fgetxattr(file, kMarkName, &mark, sizeof(mark)) == sizeof(mark) && MarkOfNow(file, status) &&
         Fits(mark, status);
}

long KxKernelEa_SetUnderMark(int file, const SkxEaRecord& record) {
  const bool isCurrent = KxKernelEaMark_Holds(file);
  long status = isCurrent ? kKxStatusSuccess : RemoveStale(file);
  if (status < 0) return status;
  const bool isRemoval = record.value.empty();
  status = isRemoval ? KxKernelEa_Remove(file, record.name) : KxXattr_Set(file, record.name, record.value);
  if (status < 0) return status;
  std::vector<std::string> left;
  if (isRemoval) status = KernelNames(file, left);
  return status < 0 || (isRemoval && left.empty()) ? status : WriteMark(file);
}

long KxKernelEa_Remove(int file, std::string_view name) {
  std::vector<std::string> left;
  long status = KxXattr_Remove(file, name);
  if (status >= 0) status = KernelNames(file, left);
  if (status < 0 || !left.empty()) return status;
  return fremovexattr(file, kMarkName) == 0 || errno == ENODATA ? kKxStatusSuccess : KxXattr_StatusOfErrno();
}
