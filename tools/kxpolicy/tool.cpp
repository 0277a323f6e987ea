#include "tools/kxpolicy/tool.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <ostream>

#include "Common_CPP/util/printable.h"

namespace {

constexpr std::array<SkxVerb, 9> kVerbs = {{
    {"compile", "Policy documents into an image", KxVerb_Compile},
    {"check", "Errors in an image or in policy documents, and what cannot have been meant", KxVerb_Check},
    {"show", "The records of an image", KxVerb_Show},
    {"eval", "Which policy applies to a target, and what it does", KxVerb_Eval},
    {"match", "The match primitives, on a stream or tried out by hand", KxVerb_Match},
    {"record", "A result record as JSON", KxVerb_Record},
    {"publish", "An image into the live sections of this machine", KxVerb_Publish},
    {"unpublish", "What is published, out again", KxVerb_Unpublish},
    {"serve", "The agent's part, from an image: publishes, answers, follows the image", KxVerb_Serve},
}};

constexpr char kWholeMark = '\x01';

/// The parser takes an argument "[a,b]" for a list of two wherever several values may stand; a mark before it keeps it
/// whole.
std::vector<std::string> KeptWhole(std::vector<std::string> arguments) {
  for (std::string& argument : arguments) {
    if (argument.starts_with('[') || argument.starts_with(kWholeMark)) argument.insert(argument.begin(), kWholeMark);
  }
  return arguments;
}

/// Takes the mark off again before anything looks at a value.
void UnmarkValues(CLI::App& app) {
  const CLI::Validator unmark(
      [](std::string& value) {
        if (value.starts_with(kWholeMark)) value.erase(0, 1);
        return std::string();
      },
      "");
  for (CLI::Option* const option : app.get_options()) option->transform(unmark);
  for (CLI::App* const group : app.get_subcommands({})) UnmarkValues(*group);
}

/// The first argument is the verb, unless it is an option. The parser would only say that a verb is missing.
void CheckVerb(const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments[0].starts_with('-')) return;
  const auto isVerb = [&](const SkxVerb& verb) { return verb.name == arguments[0]; };
  if (std::any_of(kVerbs.begin(), kVerbs.end(), isVerb)) return;
  throw CkxToolFault(EkxExit::UnusableArguments, "\"" + arguments[0] + "\" is no verb; kxpolicy --help lists them");
}

/// The parser's own words, which quote the arguments.
std::string UsageLine(const CLI::App* /*app*/, const CLI::Error& fault) {
  return KxText_Printable(fault.what()) + "\nRun with --help for more information.\n";
}

EkxExit RunVerb(const std::vector<std::string>& arguments, SkxStreams& streams) {
  CLI::App app("Compiles, shows and evaluates endpoint policies.", "kxpolicy");
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/quiet" is a text like any other, on every system
  app.failure_message(UsageLine);
  app.footer(
      "Exit codes: 0 done, 1 a failure as the answer, 2 unusable arguments, 3 unusable input, 4 the system refused.");

  KxVerbAction chosen;
  for (const SkxVerb& verb : kVerbs) {
    CLI::App* const sub = app.add_subcommand(verb.name, verb.summary);
    sub->callback([&chosen, action = verb.declare(*sub)] { chosen = action; });
    UnmarkValues(*sub);
  }
  try {
    CheckVerb(arguments);
    std::vector<std::string> reversed = KeptWhole(arguments);
    std::reverse(reversed.begin(), reversed.end());
    app.parse(std::move(reversed));
  } catch (const CLI::ParseError& fault) {
    return app.exit(fault, streams.out, streams.err) == 0 ? EkxExit::Done : EkxExit::UnusableArguments;
  }
  const EkxExit code = chosen(streams);
  if (!streams.outMayClose) KxTool_RequireOutput(streams);
  return code;
}

/// What is said without memory.
constexpr std::string_view kOutOfMemory = "kxpolicy: out of memory\n";

[[noreturn]] void EndWithoutMemory() {
  std::fwrite(kOutOfMemory.data(), 1, kOutOfMemory.size(), stderr);
  std::_Exit(static_cast<int>(EkxExit::SystemRefused));
}

/// What was thrown cannot be asked for here: unwinding has given it up.
thread_local bool isShortOfMemory = false;

void OnNoMemory() {
  isShortOfMemory = true;
  throw std::bad_alloc();
}

[[noreturn]] void OnTerminate() {
  if (isShortOfMemory) EndWithoutMemory();
  std::abort();
}

}  // namespace

void KxTool_EndWithoutMemory() {
  std::set_new_handler(OnNoMemory);
  std::set_terminate(OnTerminate);
}

void KxTool_RequireOutput(const SkxStreams& streams) {
  errno = 0;
  const bool isWritten = streams.out.rdbuf()->pubsync() == 0;  // once more, for the reason
  if (isWritten && streams.out) return;
  throw CkxToolFault(EkxExit::SystemRefused, errno == EPIPE ? "" : "standard output cannot be written");
}

int KxPolicy_Run(const std::vector<std::string>& arguments, SkxStreams& streams) {
  EkxExit code = EkxExit::SystemRefused;
  try {
    try {
      code = RunVerb(arguments, streams);
    } catch (const CkxToolFault& fault) {
      streams.out.flush();
      code = fault.Code();
      if (*fault.what() != 0) streams.err << "kxpolicy: " + KxText_Printable(fault.what()) + "\n";
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& fault) {
      streams.err << "kxpolicy: " + KxText_Printable(fault.what()) + "\n";
    }
  } catch (const std::bad_alloc&) {
    code = EkxExit::SystemRefused;
    streams.err.write(kOutOfMemory.data(), kOutOfMemory.size());
  }
  return static_cast<int>(code);
}
