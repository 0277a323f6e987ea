// The verb import: where document and report go, and what it refuses.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/kxpolicy/run_tool.h"

namespace {

constexpr const char* kGood =
    R"(<RuleCollection Type="Exe" EnforcementMode="Enabled"><FilePathRule Id="good" Name="n" UserOrGroupSid="S-1-1-0" Action="Allow"><Conditions><FilePathCondition Path="%WINDIR%\*"/></Conditions></FilePathRule><FilePathRule Id="bad" Name="n" UserOrGroupSid="S-1-1-0" Action="Allow"><Conditions><FilePathCondition Path="%TEMP%\*"/></Conditions></FilePathRule></RuleCollection>)";

std::string ContentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

class ImportVerb : public ::testing::Test {
 protected:
  std::string In(const std::string& name) const { return KxTest_PathText(_folder.Path() / name); }
  SkxToolRun Run(std::vector<std::string> arguments, const std::string& input = kGood) const {
    arguments.insert(arguments.begin(), "import");
    return KxTest_RunTool(arguments, input);
  }

  CkxTempFolder _folder;
};

TEST_F(ImportVerb, WritesDocumentAndReport) {
  SkxToolRun run = Run({"applocker", "-", "-o", In("a.jsonc")});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_NE(run.out.find(": 2 policies"), std::string::npos) << run.out;
  EXPECT_NE(run.err.find("2 rules: 1 exactly, 0 approximately, 1 not expressed (50.0 % expressed)"), std::string::npos);
  const std::string document = ContentOf(_folder.Path() / "a.jsonc");
  EXPECT_EQ(KxTest_RunTool({"compile", In("a.jsonc"), "-o", In("image")}).code, 0);

  run = Run({"applocker", "-", "-o", "-", "--report", In("report")});
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.out, document);
  EXPECT_EQ(run.err, "");
  EXPECT_NE(ContentOf(_folder.Path() / "report").find("allow bad \"n\": not expressed"), std::string::npos);

  run = Run({"applocker", "-", "-o", In("b.jsonc"), "--report", "-", "--system-drive", "e:", "--first-id", "7"});
  EXPECT_NE(run.out.find("allow bad"), std::string::npos);
  EXPECT_NE(ContentOf(_folder.Path() / "b.jsonc").find("{\"id\":7,"), std::string::npos);
  EXPECT_NE(ContentOf(_folder.Path() / "b.jsonc").find("E:\\\\Windows"), std::string::npos);
}

TEST_F(ImportVerb, RefusesWithoutWriting) {
  const struct {
    std::vector<std::string> arguments;
    const char* input;
    int code;
  } kRows[] = {
      {{"applocker", "-", "-o", In("d")}, "<a", 3},
      {{"appcontrol", "-", "-o", In("d")}, kGood, 3},
      {{"applocker", In("none"), "-o", In("d")}, kGood, 3},
      {{"another", "-", "-o", In("d")}, kGood, 2},
      {{"applocker", "-"}, kGood, 2},
      {{"applocker", "-", "-o", In("d"), "--system-drive", "CC"}, kGood, 2},
      {{"applocker", "-", "-o", In("d"), "--first-id", "0"}, kGood, 2},
      {{"applocker", "-", "-o", "-", "--report", "-"}, kGood, 2},
      {{"applocker", "-", "-o", In("none/d")}, kGood, 4},
  };
  for (const auto& row : kRows) {
    const SkxToolRun run = Run(row.arguments, row.input);
    EXPECT_EQ(run.code, row.code) << run.err;
    EXPECT_NE(run.err, "");
    EXPECT_FALSE(std::filesystem::exists(_folder.Path() / "d")) << row.code;
  }
}

}  // namespace
