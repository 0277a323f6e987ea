// Patterns that say something else than they seem to, and neighbours of theirs that are right as they are.
#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/lint/lint_patterns.h"

namespace {

using PatternFaults = std::vector<SkxPatternFault>;

PatternFaults OfName(const WCHAR* pattern) { return KxLint_NamePattern(pattern, EkxStrCompareAs::StrWildcard); }
PatternFaults OfNameExpression(const WCHAR* pattern) { return KxLint_NamePattern(pattern, EkxStrCompareAs::StrRegExp); }
PatternFaults OfText(const WCHAR* pattern) { return KxLint_TextPattern(pattern, EkxStrCompareAs::StrContains); }
PatternFaults OfExpression(const WCHAR* pattern) { return KxLint_TextPattern(pattern, EkxStrCompareAs::StrRegExp); }
PatternFaults OfLocation(const WCHAR* pattern) { return KxLint_LocationPattern(pattern); }

struct PatternCase {
  PatternFaults (*lint)(const WCHAR* pattern);
  const WCHAR* pattern;
  const char* rules;       // between blanks; empty: nothing is wrong
  const char* first = "";  // how the first message begins
};

const PatternCase kCases[] = {
    {OfName, KXW("setup*.exe"), ""},
    {OfName, KXW("C:\\Tools\\a.exe"), "path-in-name"},
    {OfName, KXW("bin/a.exe"), "path-in-name"},
    {OfNameExpression, KXW("a\\.exe"), ""},
    {OfName, KXW("%ProgramFiles(x86)%\\a.exe"), "variable path-in-name", "\"%ProgramFiles(x86)%\" stands for itself"},
    {OfName, KXW("100%.exe"), ""},
    {OfName, KXW("50%20%.exe"), ""},
    {OfName, KXW("a%%b.exe"), ""},
    {OfText, KXW("%TEMP%"), ""},  // what a command line may well have
    {OfText, KXW("C:\temp"), "control-character", "has the control character U+0009: a backslash in JSON"},
    {OfText, KXW("a\x7F"), "control-character", "has the control character U+007F"},
    {OfText, KXW("\\s"), ""},
    {OfExpression, KXW("\\w \\d+\\.\\z\\\\s"), ""},
    {OfExpression, KXW("a\\s+b\\s\\S"), "regexp-dialect regexp-dialect", "\"\\\\s\" is the letter alone; what"},
    {OfExpression, KXW("\\\\\\t"), "regexp-dialect"},
    {OfExpression, KXW("[\\d]"), "regexp-dialect", "\"\\\\d\" is the letter alone, as everything in brackets"},
    {OfExpression, KXW("[\\]\\.]\\d"), ""},
    {OfExpression, KXW("a{3}"), "regexp-dialect", "\"{3}\" is no count"},
    {OfExpression, KXW("a{1,}{,2}"), "regexp-dialect regexp-dialect"},
    {OfExpression, KXW("{a}\\0{12x}[{3}]\\{3}"), ""},
    {OfExpression, KXW("(?:a)"), "regexp-dialect", "\"(?\" means nothing here"},
    {OfExpression, KXW("\\(?"), ""},
    {OfExpression, KXW("a\\"), ""},  // does not compile, which is told elsewhere
    {OfLocation, KXW("C:\\Tools"), ""},
    {OfLocation, KXW(""), ""},
    {OfLocation, KXW("C:\\Tools\\a.EXE"), "file-in-location", "looks like a file"},
    {OfLocation, KXW("C:\\node.js"), ""},
    {OfLocation, KXW("C:\\*\\Tools"), "file-in-location", "can match nothing"},
    {OfLocation, KXW("C:\\*\\Tools\\"), ""},
    {OfLocation, KXW("*/Tools/"), ""},
    {OfLocation, KXW("C:\\Tools*"), ""},
    {OfLocation, KXW("%WINDIR%\\x"), "variable"},
    {OfLocation, KXW("C:\new"), "control-character"},
};

TEST(LintPatterns, TellWhatIsNotMeant) {
  for (const PatternCase& row : kCases) {
    SCOPED_TRACE(testing::Message() << (&row - kCases));
    std::string rules;
    const PatternFaults faults = row.lint(row.pattern);
    for (const SkxPatternFault& fault : faults) rules += (rules.empty() ? "" : " ") + std::string(fault.rule);
    EXPECT_EQ(rules, row.rules);
    if (faults.empty()) continue;
    EXPECT_TRUE(faults[0].message.starts_with(row.first)) << faults[0].message;
  }
}

}  // namespace
