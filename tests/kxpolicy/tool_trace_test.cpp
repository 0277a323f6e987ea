// --trace and --trace-file, of any verb.
#include <gmock/gmock.h>
#include <kx_util/evaluation_fault.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::HasSubstr;

class ToolTrace : public testing::Test {
 protected:
  std::string Log() const { return KxTest_PathText(_folder.Path() / "log"); }
  std::string Image() const {
    const std::string image = KxTest_PathText(_folder.Path() / "image");
    EXPECT_EQ(KxTest_RunTool({"compile", "-", "-o", image}, R"({"policies": [
        {"id": 1, "name": "Signed", "action": "block", "targets": [{"type": "executable", "publishers": ["Vendor"]}]},
        {"id": 2, "name": "Named", "action": "block", "targets": [{"type": "executable", "fileName": "a.exe"}]}]})")
                  .code,
              0);
    return image;
  }

  /// A question whose second policy costs more than is left.
  SkxToolRun AskTooMuch(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"eval", Image(), "--target", "-"});
    KxUtil_SetWorkLimit(50);
    const SkxToolRun run = KxTest_RunTool(arguments, R"({"kind": "file", "path": "C:\\a.exe", "size": 1,
        "signers": [{"name": "Other", "status": "valid"}], "user": {"sid": "S-1-5-18"}})");
    KxUtil_SetWorkLimit(kKxDefaultWorkLimit);
    return run;
  }
  const CkxTempFolder _folder;
};

TEST_F(ToolTrace, TheFileHasTheLinesAndTheTraceIsAsItWasAfterwards) {
  CkxTraceCapture before;
  const SkxToolRun run = KxTest_RunTool({"--trace-file", Log(), "--trace", "verbose", "match"},
                                        R"({"op":"str","pattern":"a","subject":"b","mode":99})");
  EXPECT_EQ(run.err.find("KXT_"), std::string::npos);
  EXPECT_THAT(_folder.Read("log"), HasSubstr("_REDIRECTED "));
  EXPECT_THAT(before.Texts(), testing::IsEmpty());
  KxTrace(EkxTraceLevel::Error, "Scope", "afterwards");
  EXPECT_EQ(before.Lines().size(), 1u);
}

TEST_F(ToolTrace, WhatCannotBeUsedIsSaid) {
  const SkxToolRun level = KxTest_RunTool({"match", "--trace", "loud"});
  EXPECT_EQ(level.code, 2);
  EXPECT_EQ(level.err, "kxpolicy: --trace: \"loud\" is no level of the trace\n");
  const SkxToolRun file = KxTest_RunTool({"match", "--trace-file", Log() + "/x/y"});
  EXPECT_EQ(file.code, 4);
  EXPECT_THAT(file.err, HasSubstr("/x/y: cannot be written, or others could write it too\n"));
  EXPECT_EQ(KxTest_RunTool({"match", "--trace-file", Log(), "--trace", "Error"}).code, 0);
}

TEST_F(ToolTrace, AFaultShowsWhatLedThere) {
  const SkxToolRun run = AskTooMuch({"--trace-file", Log(), "--trace", "debug"});
  EXPECT_THAT(run.out, HasSubstr("costs more than it may"));
  const std::string log = _folder.Read("log");
  const size_t kept = log.find(" KXT_TRACE_FLASHBACK ");
  const size_t stack = log.find(" KXT_DEBUG_REDIRECTED Stack: ");
  EXPECT_NE(kept, std::string::npos) << log;
  EXPECT_NE(stack, std::string::npos) << log;
  EXPECT_LT(kept, stack);
}

TEST_F(ToolTrace, AnAnswerShowsNoMoreThanWasAskedFor) {
  const SkxToolRun run = KxTest_RunTool({"eval", Image(), "--target", "-", "--trace-file", Log()},
                                        R"({"kind": "file", "path": "C:\\a.exe",
        "signers": [{"name": "Other", "status": "valid"}], "user": {"sid": "S-1-5-18"}})");
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.out, HasSubstr("Block"));
  EXPECT_EQ(_folder.Read("log"), "");
}

}  // namespace
