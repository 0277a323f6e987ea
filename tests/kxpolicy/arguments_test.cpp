#include <gmock/gmock.h>

#include "tests/kxpolicy/run_tool.h"

namespace {

TEST(Arguments, ExitCodes) {
  const struct {
    const char* name;
    std::vector<std::string> arguments;
    int code;
    const char* inErr;
  } kCases[] = {
      {"nothing", {}, 2, "required"},
      {"an unknown verb", {"evaluate"}, 2, "\"evaluate\" is no verb"},
      {"a verb in other case", {"Eval"}, 2, "\"Eval\" is no verb"},
      {"an unknown option", {"--bogus"}, 2, "required"},
      {"an unknown option of a verb", {"show", "x", "--bogus"}, 2, "--bogus"},
      {"too many arguments", {"show", "x", "y"}, 2, "y"},
      {"too few", {"serve"}, 2, "image is required"},
      {"compile without a folder", {"compile", "x.jsonc"}, 2, "--output is required"},
      {"compile without documents", {"compile", "-o", "x"}, 2, "documents is required"},
      {"an unknown format", {"show", "x", "--format", "xml"}, 2, "xml"},
      {"no number", {"show", "x", "--policy", "seven"}, 2, "--policy"},
      {"a negative number", {"show", "x", "--policy=-1"}, 2, "--policy"},
      {"nothing to evaluate", {"eval", "x"}, 2, "target"},
      {"two things to evaluate", {"eval", "x", "--file", "y", "--target", "z"}, 2, "target"},
      {"record without bytes", {"record", "tokendata"}, 2, "hex is required"},
      {"texts without a pattern", {"match", "x"}, 2, "--pattern"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool(test.arguments);
    EXPECT_EQ(run.code, test.code);
    EXPECT_THAT(run.err, testing::HasSubstr(test.inErr));
    EXPECT_EQ(run.out, "");
  }
}

TEST(Arguments, HelpIsAnAnswer) {
  for (const char* const verb : {"", "compile", "show", "eval", "match", "record"}) {
    SCOPED_TRACE(verb);
    std::vector<std::string> arguments;
    if (*verb != 0) arguments.push_back(verb);
    arguments.push_back("--help");
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, testing::HasSubstr(*verb != 0 ? verb : "record"));
  }
}

/// A stream that cannot be written, like a full disk.
class FullBuffer : public std::streambuf {};

TEST(Arguments, OutputThatCannotBeWritten) {
  std::istringstream in(R"({"op":"version","text":"1"})");
  FullBuffer full;
  std::ostream out(&full);
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  EXPECT_EQ(KxPolicy_Run({"match"}, streams), 4);
  EXPECT_EQ(err.str(), "kxpolicy: standard output cannot be written\n");
}

}  // namespace
