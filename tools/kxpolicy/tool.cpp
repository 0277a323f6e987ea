#include "tools/kxpolicy/tool.h"

#include <algorithm>
#include <array>
#include <ostream>

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

}  // namespace

int KxPolicy_Run(const std::vector<std::string>& arguments, SkxStreams& streams) {
  CLI::App app("Compiles, shows and evaluates endpoint policies.", "kxpolicy");
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/quiet" is a text like any other, on every system
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
    const EkxExit code = chosen(streams);
    if (!streams.out.flush()) throw CkxToolFault(EkxExit::SystemRefused, "standard output cannot be written");
    return static_cast<int>(code);
  } catch (const CLI::ParseError& fault) {
    const int code = app.exit(fault, streams.out, streams.err);
    return static_cast<int>(code == 0 ? EkxExit::Done : EkxExit::UnusableArguments);
  } catch (const CkxToolFault& fault) {
    streams.out.flush();
    streams.err << "kxpolicy: " << fault.what() << '\n';
    return static_cast<int>(fault.Code());
  } catch (const std::exception& fault) {
    streams.err << "kxpolicy: " << fault.what() << '\n';
    return static_cast<int>(EkxExit::SystemRefused);
  }
}
