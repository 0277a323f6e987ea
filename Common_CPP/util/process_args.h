// How this process was called, and the streams that it was given, for a command-line program's main:
//
//   int main(int argc, char** argv) {
//     const CkxProcessStreams streams;
//     const std::vector<std::string> arguments = KxProcess_Arguments(argc, argv);
//
// Arguments and streams are UTF-8 and bytes everywhere: no line end is changed on the way, in or out.
#pragma once

#include <string>
#include <vector>

/// What follows the program's name, in UTF-8. `argc` and `argv` are main's own; a system that keeps a better copy uses
/// that.
std::vector<std::string> KxProcess_Arguments(int argc, char** argv);

/// Whether the terminal that this process was started from is its own now: a job in the background leaves it alone.
/// Without such a terminal, or such jobs, it is.
bool KxProcess_IsInForeground();

/// For the life of the process's main: the standard streams carry bytes, and a console takes them as UTF-8.
class CkxProcessStreams {
 public:
  CkxProcessStreams();
  ~CkxProcessStreams();
  CkxProcessStreams(const CkxProcessStreams&) = delete;
  CkxProcessStreams& operator=(const CkxProcessStreams&) = delete;

  bool InIsTerminal() const { return _inIsTerminal; }
  bool OutIsTerminal() const { return _outIsTerminal; }
  bool ErrorIsTerminal() const { return _errorIsTerminal; }

 private:
  bool _inIsTerminal = false;
  bool _outIsTerminal = false;
  bool _errorIsTerminal = false;
  [[maybe_unused]] unsigned _consoleCodePage = 0;  // as it was found; 0 where there is none to give back
};
