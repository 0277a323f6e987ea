#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "Common_CPP/util/text.h"
#include "tests/support/stopped_program.h"

// Who is traced stops at its program's first instruction.
CkxStoppedProgram::CkxStoppedProgram(const KxWString& path, const std::vector<std::string>& arguments,
                                     const KxWString& folder) {
  const std::string program = KxText_ToUtf8(path);
  const std::string where = KxText_ToUtf8(folder);
  std::vector<char*> words;
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(where.c_str()) == 0 && ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
      execv(program.c_str(), words.data());
    }
    _exit(127);
  }
  int status = 0;
  if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) {
    throw std::runtime_error(program + " was not started");
  }
  // A test that crashes must not let it go: it may be the same program, which would come here again.
  if (ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_EXITKILL) != 0) {
    kill(pid, SIGKILL);
    throw std::runtime_error(program + " would outlive the test");
  }
  _pid = static_cast<uint32_t>(pid);
}

void CkxStoppedProgram::End() const {
  kill(static_cast<pid_t>(_pid), SIGKILL);
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(_pid), &info, WEXITED | WNOWAIT);
}

CkxStoppedProgram::~CkxStoppedProgram() {
  End();
  waitpid(static_cast<pid_t>(_pid), nullptr, 0);
}
