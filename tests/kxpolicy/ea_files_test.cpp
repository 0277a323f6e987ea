// The attributes of real files by the command: on the system's own where it keeps any, and on the fake of Windows'.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/ea_fixture.h"

namespace {

class EaFiles : public CkxEaFixture {
 protected:
  void SetUp() override {
    CkxEaFixture::SetUp();
    if (IsSkipped()) return;
    _folder->Write("file", "content");
    _folder->Write("value", std::string("\xEF\xBB\xBF\x00\x01", 5));
    _folder->Write("large", std::string(65'536, 'v'));
  }
  std::string File(const char* name = "file") const { return KxTest_PathText(_folder->Path() / name); }
};

/// In the order of a text, since each system lists attributes in its own.
std::string Sorted(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line + "\n");
  std::sort(lines.begin(), lines.end());
  std::string sorted;
  for (const std::string& line : lines) sorted += line;
  return sorted;
}

/// One after the other on one file, "@" being its path.
TEST_P(EaFiles, AreSetReadListedAndDeleted) {
  const std::string absent =
      R"({"name":"Gone","refused":true,"error":"EaName=[Gone] doesn't exist","status":"0xC0000052"})"
      "\n";
  const std::string kept = R"({"name":"KXA","flags":0,"size":14})"
                           "\n";
  struct {
    std::vector<std::string> arguments;
    int code;
    std::string out;
  } const kRuns[] = {
      {{"list", "@"}, 0, ""},
      {{"size", "@"}, 0, "{\"size\":0}\n"},
      {{"get", "@", "Gone"}, 1, absent},
      {{"delete", "@", "Gone"}, 1, absent},
      {{"set", "@", "KxA", "--value", "DeaD"}, 0, ""},
      {{"list", "@"}, 0, kept},
      {{"get", "@", "kxa"}, 0, "{\"name\":\"KXA\",\"flags\":0,\"value\":\"dead\",\"size\":14}\n"},
      {{"get", "@", "kxa", "--raw"}, 0, "\xDE\xAD"},
      {{"set", "@", "T", "--text", "h\xC3\xA9"}, 0, ""},
      {{"get", "@", "T", "--raw"}, 0, std::string("h\xC3\xA9", 4)},
      {{"set", "@", "T", "--wide", "h\xC3\xA9", "--change-attributes"}, 0, ""},
      {{"get", "@", "T", "--raw"}, 0, std::string("h\0\xE9\0\0\0", 6)},
      {{"set", "@", "T", "--value-file", File("value")}, 0, ""},
      {{"get", "@", "T", "--raw"}, 0, std::string("\xEF\xBB\xBF\x00\x01", 5)},
      {{"list", "@"}, 0, kept + "{\"name\":\"T\",\"flags\":0,\"size\":15}\n"},
      {{"delete", "@", "Gone"}, 1, absent},
      {{"get", "@", "Gone"}, 1, absent},
      {{"delete", "@", "t"}, 0, ""},
      {{"set", "@", "KXDRV", "--text", ""}, 0, ""},
      {{"delete", "@", "--prefix", "drv"}, 0, ""},
      {{"list", "@"}, 0, kept},
      {{"set", "@", "KXA", "--value", ""}, 0, ""},
      {{"list", "@"}, 0, ""},
      {{"set", "@", "B", "--value", "00"}, 0, ""},
      {{"delete", "@", "--all"}, 0, ""},
      {{"list", "@"}, 0, ""},
  };
  for (const auto& run : kRuns) {
    std::vector<std::string> arguments = {"ea"};
    for (const std::string& argument : run.arguments) arguments.push_back(argument == "@" ? File() : argument);
    SCOPED_TRACE(arguments[1] + " " + arguments.back());
    const SkxToolRun answer = KxTest_RunTool(arguments);
    EXPECT_EQ(answer.code, run.code) << answer.err;
    EXPECT_EQ(run.code == 0 && arguments[1] == "list" ? Sorted(answer.out) : answer.out, run.out);
    EXPECT_EQ(answer.err, "");
  }
}

/// Exit code 1 is the library's own rule, 4 the system's; what was there stays.
TEST_P(EaFiles, WhatIsRefused) {
  ASSERT_EQ(KxTest_RunTool({"ea", "set", File(), "KXA", "--value", "01"}).code, 0);
  const std::string missing = File("missing");
  struct {
    std::vector<std::string> arguments;
    int code;
    std::string error, status;
  } const kRuns[] = {
      {{"set", File(), "a:b", "--text", "v"}, 1, "ERROR: Invalid EA name [a:b]", "0x80000013"},
      {{"get", File(), "a:b"}, 1, "], EaName=[a:b], Status=0x80000013", "0x80000013"},
      {{"set", File(), "", "--text", "v"}, 1, "ERROR: Name is NULL or empty", "0x80000013"},
      {{"set", File(), "KXA", "--text", std::string(65'535, 'v')},
       1,
       "ERROR: Value string is too long: 65536",
       "0xC0000050"},
      {{"set", File(), "$Kernel.Purge.KXFH", "--value", "01"},
       1,
       "], EaName=[$Kernel.Purge.KXFH], Status=0xC0000022",
       "0xC0000022"},
      {{"list", missing}, 4, "], err: 2, Status=0xC0000034", "0xC0000034"},
      {{"size", missing}, 4, "], err: 2, Status=0xC0000034", "0xC0000034"},
      {{"set", missing, "KXA", "--value", "01"}, 4, "], err: 2, Status=0xC0000034", "0xC0000034"},
      {{"delete", missing, "--all"}, 4, "], err: 2, Status=0xC0000034", "0xC0000034"},
  };
  for (const auto& run : kRuns) {
    SCOPED_TRACE(run.arguments[0] + " " + run.error);
    std::vector<std::string> arguments = run.arguments;
    arguments.insert(arguments.begin(), "ea");
    const SkxToolRun answer = KxTest_RunTool(arguments);
    EXPECT_EQ(answer.code, run.code) << answer.err;
    EXPECT_THAT(answer.out, testing::HasSubstr("\"refused\":true,\"error\":\""));
    EXPECT_THAT(answer.out, testing::EndsWith(run.error + "\",\"status\":\"" + run.status + "\"}\n"));
    EXPECT_EQ(answer.err.empty(), run.code == 1);
  }
  const std::vector<std::string> kUnusable[] = {
      {"ea", "set", File(), "KXA", "--value", "abc"},
      {"ea", "set", File(), "KXA"},
      {"ea", "set", File(), "KXA", "--text", "a", "--wide", "b"},
      {"ea", "delete", File()},
      {"ea", "delete", File(), "KXA", "--all"},
      {"ea", "get", File()},
  };
  for (const auto& arguments : kUnusable) EXPECT_EQ(KxTest_RunTool(arguments).code, 2) << arguments.back();
  for (const char* const file : {"large", "missing"}) {
    EXPECT_EQ(KxTest_RunTool({"ea", "set", File(), "KXA", "--value-file", File(file)}).code, 3) << file;
  }
  EXPECT_EQ(KxTest_RunTool({"ea", "get", File(), "KXA", "--raw"}).out, "\x01");
}

INSTANTIATE_TEST_SUITE_P(Of, EaFiles, kKxTestEaKinds, CkxEaFixture::NameOf);

}  // namespace
