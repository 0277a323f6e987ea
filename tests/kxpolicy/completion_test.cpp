// What shells are told of a command line, and what the manual has: as much as help, of every verb.
#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "tests/kxpolicy/run_tool.h"
#include "tools/kxpolicy/outline/outline.h"

namespace {

using Strings = std::vector<std::string>;

/// The words that may stand next, without their help.
Strings Completed(const std::string& typed, Strings before) {
  before.insert(before.begin(), "--complete=" + typed);
  const SkxToolRun run = KxTest_RunTool(before);
  EXPECT_EQ(run.code, 0) << run.err;
  Strings words;
  std::istringstream lines(run.out);
  for (std::string line; std::getline(lines, line);) words.push_back(line.substr(0, line.find('\t')));
  return words;
}

struct CompletionCase {
  const char* name;
  Strings before;
  const char* typed;
  Strings words;
};

TEST(Completion, FollowsTheLine) {
  const CompletionCase cases[] = {
      {"a verb", {}, "ev", {"eval", "events"}},
      {"a verb behind an option of the command", {"--trace", "info"}, "ev", {"eval", "events"}},
      {"a verb of a group", {"config"}, "", {"get", "list"}},
      {"behind what is no verb", {"evaluate"}, "", {}},
      {"files at their place", {"eval"}, "", {":files"}},
      {"files again where several may stand", {"eval", "a.json"}, "b", {":files"}},
      {"folders", {"publish"}, "im", {":folders"}},
      {"no second one where one stands", {"publish", "image"}, "x", {}},
      {"values at their place", {"import"}, "app", {"applocker", "appcontrol"}},
      {"files behind them", {"import", "applocker"}, "", {":files"}},
      {"an option", {"eval"}, "--ex", {"--explain", "--explain=all", "--explain=close"}},
      {"a value of an option", {"eval", "--format"}, "", {"text", "json"}},
      {"a value behind the name", {"eval"}, "--format=j", {"--format=json"}},
      {"a value of a flag", {"eval"}, "--explain=c", {"--explain=close"}},
      {"files behind the name", {"eval"}, "--key-file=k", {":files"}},
      {"a folder of an option", {"compile", "-o"}, "", {":folders"}},
      {"a value that nobody knows", {"eval", "--user"}, "", {}},
      {"more values of an option", {"eval", "--file", "a"}, "b", {":files", ":files"}},
      {"an option is given once", {"check", "--format", "text"}, "--f", {}},
      {"one of a choice", {"describe", "--pid", "1"}, "--p", {"--pass-phrase-file"}},
      {"options where no place is left",
       {"check", "--format=text", "--strict"},
       "--",
       {"--help", "--help-all", "--require-signature", "--signer", "--version", "--trace", "--trace-file"}},
      {"behind the mark no option", {"check", "--"}, "-", {":files"}},
      {"words that begin with no verb's letter", {"--"}, "ev", {"eval", "events"}},
      {"what is no option", {"eval", "--bogus"}, "", {":files"}},
      {"hostile words", {"eval", "--=", "=", "-", "\xFF", "--file="}, "\x01", {":files"}},
  };
  for (const CompletionCase& each : cases) EXPECT_EQ(Completed(each.typed, each.before), each.words) << each.name;
}

/// The leaves: "eval", "origin convert".
void CollectVerbs(const SkxVerbOutline& verb, const Strings& words, std::vector<Strings>& all) {
  if (verb.verbs.empty()) all.push_back(words);
  for (const SkxVerbOutline& each : verb.verbs) {
    Strings below = words;
    below.push_back(each.name);
    CollectVerbs(each, below, all);
  }
}

std::set<std::string> OptionsInHelp(Strings verb) {
  verb.push_back("--help");
  const std::string help = KxTest_RunTool(verb).out;
  static const std::regex option("\\n +(?:-[a-z],)?(--[a-z-]+)");
  std::set<std::string> names;
  for (std::sregex_iterator match(help.begin(), help.end(), option), end; match != end; ++match) {
    names.insert(match->str(1));
  }
  return names;
}

std::string Replaced(std::string text, const std::string& what, const std::string& with) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size()) {
    text.replace(at, what.size(), with);
  }
  return text;
}

TEST(Completion, HasWhatHelpHas) {
  std::vector<Strings> verbs;
  CollectVerbs(KxTool_Outline(), {}, verbs);
  ASSERT_GT(verbs.size(), 40u);
  const std::string manual = Replaced(KxTest_RunTool({"man"}).out, "\\-", "-");
  for (const Strings& verb : verbs) {
    std::string words;
    for (const std::string& word : verb) words += (words.empty() ? "" : " ") + word;
    const size_t section = manual.find("\n.SS " + words + "\n");
    ASSERT_NE(section, std::string::npos) << words;
    const std::string page = manual.substr(section, manual.find("\n.S", section + 1) - section);
    const Strings offered = Completed("--", verb);
    const std::set<std::string> options = OptionsInHelp(verb);
    EXPECT_THAT(options, testing::Contains("--help")) << words;
    for (const std::string& option : options) {
      EXPECT_THAT(offered, testing::Contains(option)) << words;
      if (option == "--help") continue;
      EXPECT_THAT(page, testing::HasSubstr("\\fB" + option + "\\fR")) << words;
    }
  }
}

TEST(Completion, IsOneLineForEachWordOfPlainText) {
  for (const Strings& arguments : {Strings{"--complete="}, Strings{"--complete=-", "eval"}, Strings{"man"}}) {
    const std::string out = KxTest_RunTool(arguments).out;
    EXPECT_FALSE(out.empty());
    for (const char c : out) EXPECT_TRUE(c == '\n' || c == '\t' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
  }
}

}  // namespace
