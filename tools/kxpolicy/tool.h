// What every verb of the command works with: its streams, its exit codes and its way to give up.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>

/// Exit codes, which scripts are written against.
enum class EkxExit : int {
  Done = 0,     ///< whatever the decision
  Failure = 1,  ///< an answer that is a failure
  UnusableArguments = 2,
  UnusableInput = 3,  ///< unreadable, malformed
  SystemRefused = 4,
};

struct SkxStreams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool outIsTerminal = false;

  /// Set by a verb whose work is not what it writes: it goes on, and ends well, when nobody reads that any more.
  bool outMayClose = false;

  /// For a verb that runs until it is stopped: true once it is to end, false after so many milliseconds. Empty: it ends
  /// when the process is told to.
  std::function<bool(uint32_t milliseconds)> waitForStop{};
};

/// Ends the command with one line on standard error.
class CkxToolFault : public std::runtime_error {
 public:
  CkxToolFault(EkxExit code, const std::string& line) : std::runtime_error(line), _code(code) {}
  EkxExit Code() const { return _code; }

 private:
  EkxExit _code;
};

using KxVerbAction = std::function<EkxExit(SkxStreams&)>;

/// One verb: `declare` adds its options to `app` and returns what runs once they are parsed.
struct SkxVerb {
  const char* name;
  const char* summary;
  KxVerbAction (*declare)(CLI::App& app);
};

KxVerbAction KxVerb_Compile(CLI::App& app);
KxVerbAction KxVerb_Check(CLI::App& app);
KxVerbAction KxVerb_Show(CLI::App& app);
KxVerbAction KxVerb_Eval(CLI::App& app);
KxVerbAction KxVerb_Match(CLI::App& app);
KxVerbAction KxVerb_Record(CLI::App& app);
KxVerbAction KxVerb_Publish(CLI::App& app);
KxVerbAction KxVerb_Unpublish(CLI::App& app);
KxVerbAction KxVerb_Serve(CLI::App& app);

/// Ends the command, quietly where nobody reads the output any more, when it cannot be written: a verb with a lot to
/// write asks now and then.
void KxTool_RequireOutput(const SkxStreams& streams);

/// For the program's main. The JSON library takes memory where it destroys a document, and an exception cannot leave a
/// destructor: a process without memory then ends here, with the same line and exit code as anywhere else.
void KxTool_EndWithoutMemory();

/// The whole command; `arguments` without the program's name, in UTF-8.
int KxPolicy_Run(const std::vector<std::string>& arguments, SkxStreams& streams);
