#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/access_token/session_posix.h"
#include "Common_CPP/process/proc_text_posix.h"
#include "Common_CPP/process/process_platform.h"
#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxFile = size_t{1} << 20;
constexpr size_t kMaxArgumentBytes = kKxMaxProcessCommandLine * 4;  // of UTF-8

/// What an error of a look at the process means: those two are how the system says that it is no more.
EkxProcessLookup FromErrno() {
  return errno == ENOENT || errno == ESRCH ? EkxProcessLookup::NoSuchProcess : EkxProcessLookup::Refused;
}

/// The whole of a file of the process; nothing, with `errno`, on an error, and when it has more than `limit` bytes.
///
/// Nothing that the process does, or leaves undone, makes this wait: the kernel makes the text up, and of "cmdline" it
/// copies the process's own memory, which it does of a stopped process as of any other. It looks at memory that is no
/// file's alone (Linux 4.18), so that the arguments cannot lie in a file system that the process serves by itself. Each
/// read brings something or is the last, and there are as many as `limit` allows.
std::optional<std::string> ReadFile(int folder, const char* name, size_t limit) {
  const CkxDescriptor file(openat(folder, name, O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::string text;
  char block[4096];
  for (;;) {
    const ssize_t count = read(file.Get(), block, sizeof(block));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return text;
    text.append(block, static_cast<size_t>(count));
    errno = EFBIG;
    if (text.size() > limit) return std::nullopt;
  }
}

std::optional<std::string> ReadLink(int folder, const char* name) {
  char path[PATH_MAX];
  const ssize_t size = readlinkat(folder, name, path, sizeof(path));
  if (size < 0) return std::nullopt;
  errno = ENAMETOOLONG;
  if (size == 0 || static_cast<size_t>(size) == sizeof(path)) return std::nullopt;
  return std::string(path, static_cast<size_t>(size));
}

bool IsSameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

/// Whether the link of the process leads to what `path` names for us.
bool LeadsTo(int folder, const char* link, const char* path) {
  struct stat there {};
  struct stat here {};
  return fstatat(folder, link, &there, 0) == 0 && stat(path, &here) == 0 && IsSameFile(there, here);
}

/// The program that a process runs: another one when it was replaced (exec), which changes neither number nor time.
struct SkxImage {
  std::string path;
  struct stat status {};
};

bool ReadImage(int folder, SkxImage& image) {
  std::optional<std::string> path = ReadLink(folder, "exe");
  if (!path || fstatat(folder, "exe", &image.status, 0) != 0) return false;
  image.path = *std::move(path);
  return true;
}

bool IsSameImage(const SkxImage& a, const SkxImage& b) { return a.path == b.path && IsSameFile(a.status, b.status); }

/// When the system started, as the clock says it now; asked once, so that a process keeps its time whatever happens to
/// the clock.
timespec AskStartOfSystem() {
  timespec now{};
  timespec up{};
  clock_gettime(CLOCK_REALTIME, &now);
  clock_gettime(CLOCK_BOOTTIME, &up);
  return {now.tv_sec - up.tv_sec, now.tv_nsec - up.tv_nsec};
}

int64_t TimeOfTicks(uint64_t ticks) {
  static const timespec start = AskStartOfSystem();
  static const auto perSecond = static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
  return KxFileTime_FromUnix(start.tv_sec + static_cast<int64_t>(ticks / perSecond),
                             start.tv_nsec + static_cast<int64_t>(ticks % perSecond * 1000000000 / perSecond));
}

std::shared_ptr<void> TokenOf(const SkxProcStatus& status) {
  const bool isRoot = status.effectiveUser == 0;
  auto token = std::make_shared<CkxAccessToken>(KxPosixAccount_UserSid(status.effectiveUser),
                                                KxPosixAccount_Groups(status.effectiveUser, status.groups), isRoot);
  void* const handle = token->Handle();
  return std::shared_ptr<void>(std::move(token), handle);
}

EkxProcessLookup ReadStatus(int folder, uint32_t pid, SkxProcess& process) {
  const std::optional<std::string> text = ReadFile(folder, "status", kMaxFile);
  if (!text) return FromErrno();
  const std::optional<SkxProcStatus> status = KxProc_ParseStatus(*text);
  if (!status) return EkxProcessLookup::Refused;
  if (status->threadGroup != pid) return EkxProcessLookup::NoSuchProcess;  // a thread has a folder too
  process.user = TokenOf(*status);
  return EkxProcessLookup::Found;
}

/// Where the process is, when its names lead where ours do.
std::optional<KxWString> CurrentFolder(int folder) {
  const std::optional<std::string> path = ReadLink(folder, "cwd");
  if (!path || !path->starts_with('/') || !LeadsTo(folder, "root", "/")) return std::nullopt;
  return LeadsTo(folder, "cwd", path->c_str()) ? KxText_FromUtf8(*path) : std::nullopt;
}

bool SetImage(int folder, const std::string& path, SkxProcess& process) {
  process.isImageAtPath = LeadsTo(folder, "exe", path.c_str());
  std::string_view name = path;
  if (!process.isImageAtPath) KxProc_TakeDeletedMark(name);
  std::optional<KxWString> text = KxText_FromUtf8(name);
  if (!text) return false;
  process.image = *std::move(text);
  return true;
}

/// What belongs to the program that runs.
EkxProcessLookup ReadProgram(int folder, uint32_t pid, const SkxImage& image, SkxProcess& process) {
  const EkxProcessLookup lookup = ReadStatus(folder, pid, process);
  if (lookup != EkxProcessLookup::Found) return lookup;
  const std::optional<std::string> arguments = ReadFile(folder, "cmdline", kMaxArgumentBytes);
  if (!arguments) return FromErrno();
  process.commandLine = KxProc_CommandLine(*arguments);
  if (process.commandLine.size() > kKxMaxProcessCommandLine) return EkxProcessLookup::Refused;
  process.currentFolder = CurrentFolder(folder);
  return SetImage(folder, image.path, process) ? EkxProcessLookup::Found : EkxProcessLookup::Refused;
}

/// Again when another program was put in place of that one meanwhile.
EkxProcessLookup ReadUserProcess(int folder, uint32_t pid, SkxProcess& process) {
  for (int attempt = 0; attempt < 4; ++attempt) {
    SkxImage before;
    SkxImage after;
    if (!ReadImage(folder, before)) return FromErrno();
    const EkxProcessLookup lookup = ReadProgram(folder, pid, before, process);
    if (lookup != EkxProcessLookup::Found) return lookup;
    if (!ReadImage(folder, after)) return FromErrno();
    if (IsSameImage(before, after)) return EkxProcessLookup::Found;
  }
  return EkxProcessLookup::Refused;
}

std::optional<SkxProcStat> ReadStat(int folder) {
  const std::optional<std::string> text = ReadFile(folder, "stat", kMaxFile);
  if (!text) return std::nullopt;
  errno = EIO;
  return KxProc_ParseStat(*text);
}

}  // namespace

EkxProcessLookup CkxHeldProcess::Open(uint32_t pid) {
  Close();
  CkxDescriptor folder(open(("/proc/" + std::to_string(pid)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return FromErrno();
  _handle = folder.Release();
  _pid = pid;
  return EkxProcessLookup::Found;
}

EkxProcessLookup CkxHeldProcess::ReadId(SkxProcessId& id) const {
  const int folder = static_cast<int>(_handle);
  const std::optional<SkxProcStat> stat = ReadStat(folder);
  const std::optional<std::string> text = ReadFile(folder, "status", kMaxFile);
  if (!stat || !text) return FromErrno();
  const std::optional<SkxProcStatus> status = KxProc_ParseStatus(*text);
  if (!status) return EkxProcessLookup::Refused;
  if (stat->HasEnded() || status->threadGroup != _pid) return EkxProcessLookup::NoSuchProcess;
  id = {_pid, TimeOfTicks(stat->startTicks)};
  return EkxProcessLookup::Found;
}

EkxProcessLookup CkxHeldProcess::Read(SkxProcess& process) const {
  const int folder = static_cast<int>(_handle);
  const std::optional<SkxProcStat> stat = ReadStat(folder);
  if (!stat) return FromErrno();
  if (stat->HasEnded()) return EkxProcessLookup::NoSuchProcess;
  process.pid = _pid;
  process.creationTime = TimeOfTicks(stat->startTicks);
  process.parentPid = stat->parent;
  process.session = KxPosixSession_Of(folder);
  process.isKernel = stat->isKernelThread;
  return process.isKernel ? ReadStatus(folder, _pid, process) : ReadUserProcess(folder, _pid, process);
}

std::optional<uint32_t> KxProcess_OfThread(uint32_t thread) {
  const CkxDescriptor folder(open(("/proc/" + std::to_string(thread)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::optional<std::string> text = folder ? ReadFile(folder.Get(), "status", kMaxFile) : std::nullopt;
  const std::optional<SkxProcStatus> status = text ? KxProc_ParseStatus(*text) : std::nullopt;
  return status ? std::optional(status->threadGroup) : std::nullopt;
}

KxWString KxProcess_Services(uint32_t) { return {}; }

uint32_t CkxHeldProcess::ParentPid() const {
  const std::optional<SkxProcStat> stat = ReadStat(static_cast<int>(_handle));
  return stat ? stat->parent : 0;
}

void CkxHeldProcess::Close() {
  CkxDescriptor(static_cast<int>(_handle)).Close();
  _handle = -1;
}
