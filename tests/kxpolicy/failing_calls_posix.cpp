// By tracing: the run is a child under this process as its tracer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>

#include "Common_CPP/util/descriptor_posix.h"
#include "tests/kxpolicy/failing_calls.h"
#include "tools/kxpolicy/tool.h"

namespace {

struct SkxFailableCall {
  long number;
  const char* name;
  int error;
  bool moves = false;  ///< bytes, as many as the third argument says
};

/// What verbs ask of the system about files, folders, attributes, memory of files and channels.
constexpr SkxFailableCall kFailableCalls[] = {
    {SYS_open, "open", EMFILE},
    {SYS_openat, "openat", EMFILE},
    {SYS_read, "read", EIO, true},
    {SYS_pread64, "pread", EIO, true},
    {SYS_write, "write", ENOSPC, true},
    {SYS_writev, "writev", ENOSPC},
    {SYS_close, "close", EIO},
    {SYS_stat, "stat", EIO},
    {SYS_fstat, "fstat", EIO},
    {SYS_lstat, "lstat", EIO},
    {SYS_newfstatat, "fstatat", EIO},
    {SYS_getdents64, "getdents", EIO},
    {SYS_readlink, "readlink", EIO},
    {SYS_rename, "rename", EIO},
    {SYS_renameat, "renameat", EIO},
    {SYS_renameat2, "renameat2", EIO},
    {SYS_mkdir, "mkdir", ENOSPC},
    {SYS_mkdirat, "mkdirat", ENOSPC},
    {SYS_rmdir, "rmdir", EIO},
    {SYS_unlink, "unlink", EIO},
    {SYS_unlinkat, "unlinkat", EIO},
    {SYS_fchmod, "fchmod", EPERM},
    {SYS_ftruncate, "ftruncate", EIO},
    {SYS_flock, "flock", ENOLCK},
    {SYS_fcntl, "fcntl", EMFILE},
    {SYS_lseek, "lseek", EIO},
    {SYS_fsync, "fsync", EIO},
    {SYS_mmap, "mmap", ENOMEM},
    {SYS_fgetxattr, "fgetxattr", EIO},
    {SYS_flistxattr, "flistxattr", EIO},
    {SYS_fsetxattr, "fsetxattr", ENOSPC},
    {SYS_fremovexattr, "fremovexattr", EIO},
    {SYS_socket, "socket", EMFILE},
    {SYS_connect, "connect", ECONNREFUSED},
    {SYS_getsockopt, "getsockopt", ENOBUFS},
    {SYS_poll, "poll", ENOMEM},
    {SYS_recvfrom, "recv", ECONNRESET, true},
    {SYS_recvmsg, "recvmsg", ECONNRESET},
    {SYS_sendto, "send", EPIPE, true},
    {SYS_sendmsg, "sendmsg", EPIPE},
    {SYS_bind, "bind", EADDRINUSE},
    {SYS_listen, "listen", EADDRINUSE},
};

/// The call that the child is about to make, where it is one that can fail in this way.
const SkxFailableCall* FailableCall(const user_regs_struct& registers, EkxCallFault how) {
  const auto number = static_cast<long>(registers.orig_rax);
  const auto found = std::find_if(std::begin(kFailableCalls), std::end(kFailableCalls),
                                  [&](const SkxFailableCall& call) { return call.number == number; });
  if (found == std::end(kFailableCalls)) return nullptr;
  const bool isMemoryAlone = number == SYS_mmap && static_cast<int>(registers.r8) < 0;
  const bool canFail = how == EkxCallFault::Fails         ? !isMemoryAlone
                       : how == EkxCallFault::Interrupted ? found->moves
                                                          : found->moves && registers.rdx > 1;
  return canFail ? &*found : nullptr;
}

/// What wakes a thread of the child's own: it has no disk and no peer, and does not fail.
bool IsWaking(pid_t child, const user_regs_struct& registers) {
  if (registers.orig_rax != SYS_write) return false;
  std::error_code error;
  const std::string descriptor = "/proc/" + std::to_string(child) + "/fd/" + std::to_string(registers.rdi);
  return std::filesystem::read_symlink(descriptor, error) == "anon_inode:[eventfd]";
}

class CallTracer {
 public:
  CallTracer(pid_t child, SkxCallFault fault) : _child(child), _fault(fault) {}

  SkxFailingRun Follow() {
    int status = 0;
    while (waitpid(_child, &status, 0) == _child && WIFSTOPPED(status)) {
      const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
      const bool isOwnStop = WSTOPSIG(status) == SIGSTOP;  // which it begins with
      if (isCall) OnCall();
      if (isOwnStop) ptrace(PTRACE_SETOPTIONS, _child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
      ptrace(PTRACE_SYSCALL, _child, nullptr, isCall || isOwnStop ? 0 : WSTOPSIG(status));
    }
    _run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return _run;
  }

 private:
  /// It stops on the way in and on the way out.
  void OnCall() {
    user_regs_struct registers{};
    if (ptrace(PTRACE_GETREGS, _child, nullptr, &registers) != 0) return;
    _isInside = !_isInside;
    if (_isInside) {
      OnEntry(registers);
    } else if (_failing != nullptr) {
      registers.rax =
          static_cast<unsigned long long>(_fault.how == EkxCallFault::Interrupted ? -EINTR : -_failing->error);
      ptrace(PTRACE_SETREGS, _child, nullptr, &registers);
      _failing = nullptr;
    }
  }

  void OnEntry(user_regs_struct& registers) {
    constexpr unsigned long long kNoCall = static_cast<unsigned long long>(-1);
    const SkxFailableCall* const call = FailableCall(registers, _fault.how);
    if (call == nullptr || IsWaking(_child, registers) || _run.calls++ != _fault.at) return;
    _run.failed = call->name;
    _run.isRemoval = _run.failed.starts_with("unlink") || _run.failed == "rmdir";
    _run.isTelling = _run.failed == "write" && registers.rdi == STDERR_FILENO;
    if (_fault.how == EkxCallFault::Short) {
      registers.rdx = 1;
    } else {
      _failing = call;
      if (call->number != SYS_close) registers.orig_rax = kNoCall;  // what fails to be closed is closed nevertheless
    }
    ptrace(PTRACE_SETREGS, _child, nullptr, &registers);
  }

  const pid_t _child;
  const SkxCallFault _fault;
  SkxFailingRun _run;
  const SkxFailableCall* _failing = nullptr;  ///< until it comes back
  bool _isInside = false;
};

/// What the program's main does, in a child.
int RunAsMain(const std::vector<std::string>& arguments, const CkxDescriptor (&files)[3]) {
  for (int stream = 0; stream < 3; ++stream) dup2(files[stream].Get(), stream);
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  SkxStreams streams = {std::cin, std::cout, std::cerr};
  streams.waitForStop = [](uint32_t) { return true; };
  return KxPolicy_Run(arguments, streams);
}

CkxDescriptor Opened(const std::filesystem::path& path, int flags) {
  return CkxDescriptor(open(path.c_str(), flags | O_CLOEXEC, 0600));
}

}  // namespace

std::span<const EkxCallFault> KxTest_CallFaults() {
  static constexpr EkxCallFault kAll[] = {EkxCallFault::Fails, EkxCallFault::Interrupted, EkxCallFault::Short};
  return kAll;
}

SkxFailingRun KxTest_RunFailing(const std::vector<std::string>& arguments, const std::filesystem::path& streams,
                                SkxCallFault fault) {
  const CkxDescriptor files[] = {Opened(streams / "in", O_RDONLY),
                                 Opened(streams / "out", O_WRONLY | O_CREAT | O_TRUNC),
                                 Opened(streams / "err", O_WRONLY | O_CREAT | O_TRUNC)};
  std::fflush(stdout);  // or the child would write it too
  const pid_t child = fork();
  if (child == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || raise(SIGSTOP) != 0) _exit(125);
    _exit(RunAsMain(arguments, files));
  }
  EXPECT_GT(child, 0);
  return CallTracer(child, fault).Follow();
}
