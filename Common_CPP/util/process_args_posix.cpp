#include <unistd.h>

#include "Common_CPP/util/process_args.h"

std::vector<std::string> KxProcess_Arguments(int argc, char** argv) {
  if (argc < 1) return {};
  return {argv + 1, argv + argc};
}

bool KxProcess_IsInForeground() {
  const pid_t foreground = tcgetpgrp(STDERR_FILENO);
  return foreground == -1 || foreground == getpgrp();
}

CkxProcessStreams::CkxProcessStreams()
    : _inIsTerminal(isatty(STDIN_FILENO) == 1),
      _outIsTerminal(isatty(STDOUT_FILENO) == 1),
      _errorIsTerminal(isatty(STDERR_FILENO) == 1) {}

CkxProcessStreams::~CkxProcessStreams() = default;
