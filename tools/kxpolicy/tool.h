// What every verb of the command works with: its streams, its exit codes and its way to give up.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/kxpolicy/options.h"

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
  bool inIsTerminal = false;
  bool outIsTerminal = false;
  bool errIsTerminal = false;  ///< a person may be told there how far the work has come

  /// Asked before each sign of it, since jobs change places: a terminal that is somebody else's now is left alone.
  /// Empty: it is ours.
  std::function<bool()> isInForeground{};

  /// Work that takes less says nothing about how far it is.
  std::chrono::milliseconds progressAfter{1000};

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

KxVerbAction KxVerb_New(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Compile(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Import(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Check(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Show(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Report(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Eval(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Test(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Diff(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Witness(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Bench(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Summary(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Describe(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Events(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Suggest(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Match(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Record(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginConvert(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginFill(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginSign(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginVerify(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginGet(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginSet(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginCopy(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginDelete(const CkxVerbOptions& verb);
KxVerbAction KxVerb_OriginMigrate(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaEncode(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaDecode(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaList(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaGet(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaSet(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaDelete(const CkxVerbOptions& verb);
KxVerbAction KxVerb_EaSize(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Stamp(const CkxVerbOptions& verb);
KxVerbAction KxVerb_ConfigGet(const CkxVerbOptions& verb);
KxVerbAction KxVerb_ConfigList(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Message(const CkxVerbOptions& verb);
KxVerbAction KxVerb_ProcMapReplay(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Publish(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Unpublish(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Serve(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Status(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Rollback(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Completion(const CkxVerbOptions& verb);
KxVerbAction KxVerb_Man(const CkxVerbOptions& verb);

/// All verbs, with their options.
SkxVerbOutline KxTool_Outline();

/// Ends the command, quietly where nobody reads the output any more, when it cannot be written: a verb with a lot to
/// write asks now and then.
void KxTool_RequireOutput(const SkxStreams& streams);

/// For the program's main. The JSON library takes memory where it destroys a document, and an exception cannot leave a
/// destructor: a process without memory then ends here, with the same line and exit code as anywhere else.
void KxTool_EndWithoutMemory();

/// The whole command; `arguments` without the program's name, in UTF-8.
int KxPolicy_Run(const std::vector<std::string>& arguments, SkxStreams& streams);
