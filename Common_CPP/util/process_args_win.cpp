#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include "Common_CPP/util/process_args.h"
#include "Common_CPP/util/text.h"

namespace {

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(stream), &mode) != 0;
}

}  // namespace

// argv has lost every character that the process's code page lacks; the command line has them all.
std::vector<std::string> KxProcess_Arguments(int /*argc*/, char** /*argv*/) {
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count && wide != nullptr; ++i) arguments.push_back(KxText_ToUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool KxProcess_IsInForeground() { return true; }

CkxProcessStreams::CkxProcessStreams()
    : _inIsTerminal(IsConsole(STD_INPUT_HANDLE)),
      _outIsTerminal(IsConsole(STD_OUTPUT_HANDLE)),
      _errorIsTerminal(IsConsole(STD_ERROR_HANDLE)) {
  for (const int stream : {0, 1, 2}) _setmode(stream, _O_BINARY);
  if (!_outIsTerminal && !_errorIsTerminal) return;
  _consoleCodePage = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
}

// The console outlives us, and whoever uses it next expects it as it was.
CkxProcessStreams::~CkxProcessStreams() {
  if (_consoleCodePage != 0) SetConsoleOutputCP(_consoleCodePage);
}
