#include "tools/kxpolicy/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr const char* kPurpose = "Compiles, shows and evaluates endpoint policies.";

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

/// `chosen` is what runs, once the arguments are parsed.
void AddVerbs(CLI::App& app, std::span<const SkxVerb> verbs, KxVerbAction& chosen) {
  app.require_subcommand(1);
  for (const SkxVerb& verb : verbs) {
    CLI::App* const sub = app.add_subcommand(verb.name, verb.summary);
    if (verb.group != nullptr) {
      AddVerbs(*sub, verb.group->verbs, chosen);
    } else {
      sub->callback([&chosen, action = verb.declare(CkxVerbOptions(*sub))] { chosen = action; });
      UnmarkValues(*sub);
    }
  }
}

/// What goes to where the parser puts it.
struct Parsed {
  KxVerbAction chosen;
  SkxTraceOptions trace;
};

/// Of the verb that the arguments name, and of the command.
void AddOptionNames(const CLI::App& app, std::vector<std::string>& names) {
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  const auto isAsked = [](const CLI::App* below) { return below->get_name().empty() || below->parsed(); };
  for (const CLI::App* const below : app.get_subcommands(isAsked)) AddOptionNames(*below, names);
}

/// What looks like an option and is none. The parser itself would first name what is missing for want of it.
std::string UnknownOption(const CLI::App& app) {
  for (const std::string& argument : app.remaining(true)) {
    if (argument.starts_with('-') && argument.find_first_not_of('-') != argument.npos) {
      return argument.substr(0, argument.find('='));
    }
  }
  return {};
}

/// Else in the parser's own words, which quote the arguments.
std::string UsageLine(const CLI::App* app, const CLI::Error& fault) {
  std::string line = fault.what();
  if (const std::string unknown = UnknownOption(*app); !unknown.empty()) {
    std::vector<std::string> names;
    AddOptionNames(*app, names);
    line = "\"" + unknown + "\" is no option here" + KxNearest_Question(unknown, names);
  }
  return "kxpolicy: " + KxText_Printable(line) + "\nRun with --help for more information.\n";
}

void Declare(CLI::App& app, std::span<const SkxVerb> verbs, Parsed& parsed) {
  app.allow_windows_style_options(false);  // "/quiet" is a text like any other, on every system
  app.failure_message(UsageLine);
  app.set_help_all_flag("--help-all", "This, and the options of each verb");
  app.set_version_flag("--version", std::string("kxpolicy ") + KX_VERSION, "The version of the command");
  app.footer(
      "Exit codes: 0 done, 1 a failure as the answer, 2 unusable arguments, 3 unusable input, 4 the system refused.");

  app.add_option("--trace", parsed.trace.level,
                 "Trace lines up to this level: error, warning, info, debug, trace, verbose");
  app.add_option("--trace-file", parsed.trace.file,
                 "The trace goes to the end of this file, in place of standard error")
      ->type_name(kKxFileValue);
  app.fallthrough();  // these may stand behind the verb too
  UnmarkValues(app);
  AddVerbs(app, verbs, parsed.chosen);
}

}  // namespace

CkxOption CkxOption::Required() const { return CkxOption(_option->required()); }

CkxOption CkxOption::OneOf(std::initializer_list<const char*> values) const {
  const std::vector<std::string> words(values.begin(), values.end());
  CLI::IsMember member(words);  // as help and shells show it
  member.operation([words](const std::string& value) {
    if (std::find(words.begin(), words.end(), value) != words.end()) return std::string();
    std::string known;
    for (const std::string& word : words) known += (known.empty() ? "" : ", ") + word;
    return "\"" + value + "\" is none of " + known + KxNearest_Question(value, words);
  });
  return CkxOption(_option->check(member));
}

CkxOption CkxOption::Needs(const CkxOption& other) const { return CkxOption(_option->needs(other._option)); }

CkxOption CkxOption::Excludes(const CkxOption& other) const { return CkxOption(_option->excludes(other._option)); }

CkxOption CkxOption::NotEmpty() const {
  const CLI::Validator validator([](const std::string& value) { return std::string(value.empty() ? "is empty" : ""); },
                                 "");
  return CkxOption(_option->check(validator));
}

CkxOption CkxOption::OneValueEach() const { return CkxOption(_option->allow_extra_args(false)); }

CkxOption CkxOption::File() const { return CkxOption(_option->type_name(kKxFileValue)); }

CkxOption CkxOption::Folder() const { return CkxOption(_option->type_name(kKxFolderValue)); }

CkxOption CkxOption::Path() const { return CkxOption(_option->type_name(kKxPathValue)); }

bool CkxOption::IsGiven() const { return _option->count() > 0; }

CkxOption CkxVerbOptions::Add(const char* name, std::string& value, const std::string& help) const {
  return CkxOption(_app->add_option(name, value, help));
}

CkxOption CkxVerbOptions::Add(const char* name, std::vector<std::string>& values, const std::string& help) const {
  return CkxOption(_app->add_option(name, values, help));
}

CkxOption CkxVerbOptions::Add(const char* name, std::optional<uint32_t>& value, const std::string& help) const {
  return CkxOption(_app->add_option(name, value, help));
}

CkxOption CkxVerbOptions::AddFlag(const char* name, bool& value, const std::string& help) const {
  return CkxOption(_app->add_flag(name, value, help));
}

CkxOption CkxVerbOptions::AddFlag(const char* name, std::string& value, const std::string& help) const {
  return CkxOption(_app->add_flag(name, value, help));
}

CkxVerbOptions CkxVerbOptions::AddChoice(const char* name, const char* help) const {
  CLI::App* const choice = _app->add_option_group(name, help);
  choice->require_option(1);
  return CkxVerbOptions(*choice);
}

void CkxVerbOptions::Footer(const char* text) const { _app->footer(text); }

SkxParsedArguments KxOptions_Parse(std::span<const SkxVerb> verbs, const std::vector<std::string>& arguments,
                                   SkxStreams& streams) {
  const auto parser = std::make_shared<CLI::App>(kPurpose, "kxpolicy");
  Parsed parsed;
  Declare(*parser, verbs, parsed);
  try {
    std::vector<std::string> reversed = KeptWhole(arguments);
    std::reverse(reversed.begin(), reversed.end());
    parser->parse(std::move(reversed));
  } catch (const CLI::ParseError& fault) {
    const bool isHelp = parser->exit(fault, streams.out, streams.err) == 0;
    return {{}, isHelp ? EkxExit::Done : EkxExit::UnusableArguments};
  }
  // The parser lives as long as the action, which may ask it what was given.
  return {[parser, action = std::move(parsed.chosen)](SkxStreams& io) { return action(io); }, EkxExit::Done,
          std::move(parsed.trace)};
}

SkxVerbOutline KxOptions_Outline(std::span<const SkxVerb> verbs) {
  CLI::App parser(kPurpose, "kxpolicy");
  Parsed unused;
  Declare(parser, verbs, unused);
  return KxOutline_Of(parser);
}
