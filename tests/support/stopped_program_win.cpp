#include <stdexcept>

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"
#include "tests/support/stopped_program.h"

CkxStoppedProgram::CkxStoppedProgram(const KxWString& path, const std::vector<std::string>& arguments,
                                     const KxWString& folder) {
  KxWString line;
  for (const std::string& argument : arguments) {
    if (!line.empty()) line += L' ';
    line += KxText_FromUtf8(argument).value_or(KxWString());
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(path.c_str(), line.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr,
                      folder.c_str(), &startup, &started)) {
    throw std::runtime_error(KxText_ToUtf8(path) + " was not started");
  }
  CkxHandle(started.hThread).Close();
  _process = started.hProcess;
  _pid = started.dwProcessId;
}

void CkxStoppedProgram::End() const {
  TerminateProcess(_process, 1);
  WaitForSingleObject(_process, 10000);
}

CkxStoppedProgram::~CkxStoppedProgram() {
  End();
  CkxHandle(_process).Close();
}
