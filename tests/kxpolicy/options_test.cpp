#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "tests/kxpolicy/run_tool.h"

namespace {

/// What `pattern` finds at the beginnings of the lines of a help text.
std::set<std::string> Listed(const std::string& help, const char* pattern) {
  std::set<std::string> found;
  const std::regex regex(pattern);
  std::istringstream lines(help);
  std::smatch match;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_search(line, match, regex)) found.insert(match[1]);
  }
  return found;
}

std::string Help(std::vector<std::string> words) {
  words.emplace_back("--help");
  return KxTest_RunTool(words).out;
}

std::set<std::string> VerbsIn(const std::string& help) {
  const size_t begin = help.find("Subcommands:");
  return begin == std::string::npos ? std::set<std::string>() : Listed(help.substr(begin), "^  ([a-z]+) ");
}

/// By verb, groups with a blank before the verb.
std::map<std::string, std::string> HelpOfVerbs() {
  std::map<std::string, std::string> all;
  for (const std::string& verb : VerbsIn(Help({}))) {
    const std::string help = Help({verb});
    const std::set<std::string> ofGroup = VerbsIn(help);
    if (ofGroup.empty()) all[verb] = help;
    for (const std::string& inner : ofGroup) all[verb + " " + inner] = Help({verb, inner});
  }
  return all;
}

/// Whether docs/kxpolicy.md has a row about the verb that tells of the option.
bool IsExplained(const std::vector<std::string>& rows, const std::string& verb, const std::string& option) {
  return std::any_of(rows.begin(), rows.end(), [&](const std::string& row) {
    const std::string verbs = row.substr(0, row.find('|', 1));
    const bool isAbout = verbs.find("`" + verb + "`") != std::string::npos;
    return isAbout && std::regex_search(row, std::regex("`" + option + "[`= ]"));
  });
}

TEST(Options, AreExplained) {
  std::ifstream file("docs/kxpolicy.md");
  std::vector<std::string> rows;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| `")) rows.push_back(line);
  }
  const std::map<std::string, std::string> verbs = HelpOfVerbs();
  EXPECT_TRUE(verbs.contains("eval") && verbs.contains("ea set")) << verbs.size();
  size_t options = 0;
  for (const auto& [verb, help] : verbs) {
    for (const std::string& option : Listed(help, "^ +(?:-[a-z],)?(--[a-z-]+)")) {
      if (option == "--help" || option == "--help-all") continue;
      EXPECT_TRUE(IsExplained(rows, verb, option)) << verb << " " << option;
      ++options;
    }
  }
  EXPECT_GT(options, 90u);
}

}  // namespace
