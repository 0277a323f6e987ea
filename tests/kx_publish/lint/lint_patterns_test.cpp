// Patterns that say something else than they seem to, and neighbours of theirs that are right as they are.
#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/lint/lint_patterns.h"

namespace {

using Faults = std::vector<SkxPatternFault>;

Faults Name(const WCHAR* pattern) { return KxLint_NamePattern(pattern, EkxStrCompareAs::StrWildcard); }
Faults NameExpression(const WCHAR* pattern) { return KxLint_NamePattern(pattern, EkxStrCompareAs::StrRegExp); }
Faults Text(const WCHAR* pattern) { return KxLint_TextPattern(pattern, EkxStrCompareAs::StrContains); }
Faults Expression(const WCHAR* pattern) { return KxLint_TextPattern(pattern, EkxStrCompareAs::StrRegExp); }
Faults Location(const WCHAR* pattern) { return KxLint_LocationPattern(pattern); }

struct PatternCase {
  Faults (*lint)(const WCHAR* pattern);
  const WCHAR* pattern;
  const char* rules;       // between blanks; empty: nothing is wrong
  const char* first = "";  // how the first message begins
};

const PatternCase kCases[] = {
    {Name, KXW("setup*.exe"), ""},
    {Name, KXW("C:\\Tools\\a.exe"), "path-in-name"},
    {Name, KXW("bin/a.exe"), "path-in-name"},
    {NameExpression, KXW("a\\.exe"), ""},
    {Name, KXW("%ProgramFiles(x86)%\\a.exe"), "variable path-in-name", "\"%ProgramFiles(x86)%\" stands for itself"},
    {Name, KXW("100%.exe"), ""},
    {Name, KXW("50%20%.exe"), ""},
    {Name, KXW("a%%b.exe"), ""},
    {Text, KXW("%TEMP%"), ""},  // what a command line may well have
    {Text, KXW("C:\temp"), "control-character", "has the control character U+0009: a backslash in JSON"},
    {Text, KXW("a\x7F"), "control-character", "has the control character U+007F"},
    {Text, KXW("\\s"), ""},
    {Expression, KXW("\\w \\d+\\.\\z\\\\s"), ""},
    {Expression, KXW("a\\s+b\\s\\S"), "regexp-dialect regexp-dialect", "\"\\\\s\" is the letter alone; what"},
    {Expression, KXW("\\\\\\t"), "regexp-dialect"},
    {Expression, KXW("[\\d]"), "regexp-dialect", "\"\\\\d\" is the letter alone, as everything in brackets"},
    {Expression, KXW("[\\]\\.]\\d"), ""},
    {Expression, KXW("a{3}"), "regexp-dialect", "\"{3}\" is no count"},
    {Expression, KXW("a{1,}{,2}"), "regexp-dialect regexp-dialect"},
    {Expression, KXW("{a}\\0{12x}[{3}]\\{3}"), ""},
    {Expression, KXW("(?:a)"), "regexp-dialect", "\"(?\" means nothing here"},
    {Expression, KXW("\\(?"), ""},
    {Expression, KXW("a\\"), ""},  // does not compile, which is told elsewhere
    {Location, KXW("C:\\Tools"), ""},
    {Location, KXW(""), ""},
    {Location, KXW("C:\\Tools\\a.EXE"), "file-in-location", "looks like a file"},
    {Location, KXW("C:\\node.js"), ""},
    {Location, KXW("C:\\*\\Tools"), "file-in-location", "can match nothing"},
    {Location, KXW("C:\\*\\Tools\\"), ""},
    {Location, KXW("*/Tools/"), ""},
    {Location, KXW("C:\\Tools*"), ""},
    {Location, KXW("%WINDIR%\\x"), "variable"},
    {Location, KXW("C:\new"), "control-character"},
};

TEST(LintPatterns, TellWhatIsNotMeant) {
  for (const PatternCase& row : kCases) {
    SCOPED_TRACE(testing::Message() << (&row - kCases));
    std::string rules;
    const Faults faults = row.lint(row.pattern);
    for (const SkxPatternFault& fault : faults) rules += (rules.empty() ? "" : " ") + std::string(fault.rule);
    EXPECT_EQ(rules, row.rules);
    if (faults.empty()) continue;
    EXPECT_TRUE(faults[0].message.starts_with(row.first)) << faults[0].message;
  }
}

}  // namespace
