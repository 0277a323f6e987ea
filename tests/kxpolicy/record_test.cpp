#include <gmock/gmock.h>

#include "tests/kxpolicy/run_tool.h"

namespace {

using testing::HasSubstr;

/// The first 297 bytes, alike in every layout, each field with bytes of its own. Behind each NUL lies what a buffer
/// held before.
CkxRecordBytes Head() {
  CkxRecordBytes record;
  record.U32(0x80000007).U32(2).U32(0xFFFFFFFF);  // policy, action, original action
  record.U16('G').U16(0xE4).U16(0).U16('x').Zeros(120);
  for (int i = 0; i < 64; ++i) record.U16('K');  // no NUL at all
  record.U32(101).U32(3).U8(2).U32(7);           // GuiType, ReportUsageState, PolicyAutomation, target type
  return record.U32(0x0D9C1E2F).U16(0x3A4B).U16(0x5C6D).U64(0xE5D4C3B2A1908F7E);
}

/// SecondaryId, Reserved313, Inheritable
CkxRecordBytes Common() { return Head().Id(9).U8(0x5A).U8(1); }

CkxRecordBytes Current() { return Common().U8(0).U8(1); }  // ProtectInstalledFiles, RestrictFileDlg
CkxRecordBytes Old() { return Common().U8(1); }            // RestrictFileDlg

std::string InfoJson(int reserved, const std::string& tail) {
  return R"({"policyId":2147483655,"action":2,"originalAction":-1,"gpId":"Gä","kxGpoId":")" + std::string(64, 'K') +
         R"(","guiType":101,"reportUsageState":3,"policyAutomation":true,"targetType":7,)"
         R"("targetId":"{0D9C1E2F-3A4B-5C6D-7E8F-90A1B2C3D4E5}","secondaryId":"{00000009-0000-0000-0000-000000000009}",)"
         R"("reserved313":)" +
         std::to_string(reserved) + R"(,"inheritable":true,"protectInstalledFiles":false,"restrictFileDlg":true,)" +
         tail + "}\n";
}

struct RecordCase {
  const char* name;
  const char* type;
  KxBytes bytes;
  std::string json;
};

const std::vector<RecordCase>& RecordCases() {
  static const std::vector<RecordCase> cases = {
      {"current", "triggerinfo", Current().Bytes(), InfoJson(90, R"("empty":false,"defaultPolicy":true)")},
      {"old, converted", "triggerinfo-6.0.1.171", Old().Bytes(), InfoJson(0, R"("empty":false,"defaultPolicy":true)")},
      {"process", "processdata", Current().U16(0x1234).U16(0xFFFF).Bytes(),
       InfoJson(90, R"("extraFlags":4660,"extraState":65535,"empty":false,"defaultPolicy":true)")},
      {"process without a state", "processdata-10.2", Current().U16(0x1234).Bytes(),
       InfoJson(90, R"("extraFlags":4660,"extraState":0,"empty":false,"defaultPolicy":true)")},
      {"old process, converted", "processdata-6.0.1.171", Old().U16(0x1234).Bytes(),
       InfoJson(0, R"("extraFlags":4660,"extraState":0,"empty":false,"defaultPolicy":true)")},
      {"token of the elevator", "tokendata",
       CkxRecordBytes().U8(1).U8(3).U8(4).U8(20).U16(0xF00B).U32(4711).U32(0xFFFFFFFF).Id(5).Bytes(),
       R"({"version":1,"action":3,"originalAction":4,"targetType":20,"flags":61451,"pid":4711,"policyId":4294967295,)"
       R"("targetId":"{00000005-0000-0000-0000-000000000005}","createdByUacElevator":true,"inheritable":true,)"
       R"("protectInstalledFiles":false,"restrictFileDlg":true,"clientPid":4711})"
       "\n"},
      {"token of anyone else", "tokendata",
       CkxRecordBytes().U8(255).U8(128).U8(0).U8(0).U16(4).U32(4711).U32(1).Id(0).Bytes(),
       R"({"version":255,"action":128,"originalAction":0,"targetType":0,"flags":4,"pid":4711,"policyId":1,)"
       R"("targetId":"{00000000-0000-0000-0000-000000000000}","createdByUacElevator":false,"inheritable":false,)"
       R"("protectInstalledFiles":true,"restrictFileDlg":false,"clientPid":0})"
       "\n"},
  };
  return cases;
}

TEST(Record, DecodesEveryLayout) {
  for (const RecordCase& test : RecordCases()) {
    SCOPED_TRACE(test.name);
    const SkxToolRun run = KxTest_RunTool({"record", test.type, KxTest_Hex(test.bytes)});
    EXPECT_EQ(run.out, test.json);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.code, 0);
  }
}

TEST(Record, TakesNoOtherLength) {
  for (const RecordCase& test : RecordCases()) {
    SCOPED_TRACE(test.name);
    const size_t size = test.bytes.size();
    for (const size_t other : {size - 1, size + 1, size_t{0}}) {
      KxBytes bytes = test.bytes;
      bytes.resize(other);
      const SkxToolRun run = KxTest_RunTool({"record", test.type, "-"}, KxTest_Hex(bytes));
      EXPECT_EQ(run.code, 3);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "kxpolicy: record " + std::string(test.type) + ": has " + std::to_string(size) +
                             " bytes, not " + std::to_string(other) + "\n");
    }
  }
}

TEST(Record, TellsEmptyAndDefaultPolicies) {
  const struct {
    const char* name;
    unsigned policy, action, guiType, flags, state;
    const char* infoTail;
    const char* processTail;
  } kCases[] = {
      {"all zero", 0, 0, 0, 0, 0, R"("empty":true,"defaultPolicy":false)", R"("empty":true,"defaultPolicy":false)"},
      {"an action without a policy", 0, 3, 200, 0, 0, R"("empty":false,"defaultPolicy":true)",
       R"("empty":false,"defaultPolicy":true)"},
      {"flags alone", 0, 0, 205, 1, 0, R"("empty":true,"defaultPolicy":true)", R"("empty":true,"defaultPolicy":true)"},
      {"a state alone", 0, 0, 206, 0, 1, R"("empty":true,"defaultPolicy":false)",
       R"("empty":false,"defaultPolicy":false)"},
      {"a policy alone", 1, 0, 104, 0, 0, R"("empty":false,"defaultPolicy":true)",
       R"("empty":false,"defaultPolicy":true)"},
      {"below the range", 1, 0, 199, 0, 0, R"("empty":false,"defaultPolicy":false)",
       R"("empty":false,"defaultPolicy":false)"},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    CkxRecordBytes record;
    record.U32(test.policy).U32(test.action).Zeros(260).U32(test.guiType).Zeros(45);
    const SkxToolRun info = KxTest_RunTool({"record", "triggerinfo", KxTest_Hex(record.Bytes())});
    EXPECT_THAT(info.out, HasSubstr(test.infoTail));
    record.U16(test.flags).U16(test.state);
    const SkxToolRun process = KxTest_RunTool({"record", "processdata", KxTest_Hex(record.Bytes())});
    EXPECT_THAT(process.out, HasSubstr(test.processTail));
  }
}

TEST(Record, ReadsHexadecimalAsPeoplePasteIt) {
  const std::string thirty = std::string(58, '0');
  const struct {
    const char* name;
    std::string hex;
    int code;
  } kCases[] = {
      {"capitals", "aB" + thirty, 0},   {"blanks and lines", " 01 \t02\r\n" + thirty.substr(2) + "\n", 0},
      {"half a byte", "0" + thirty, 3}, {"a letter that is no digit", "0g" + thirty, 3},
      {"a prefix", "0x" + thirty, 3},   {"nothing", "", 3},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    EXPECT_EQ(KxTest_RunTool({"record", "tokendata", test.hex}).code, test.code);
    EXPECT_EQ(KxTest_RunTool({"record", "tokendata", "-"}, test.hex).code, test.code);
  }
  EXPECT_THAT(KxTest_RunTool({"record", "tokendata", "fF" + thirty}).out, HasSubstr("\"version\":255,"));
}

TEST(Record, KnowsItsTypes) {
  const SkxToolRun run = KxTest_RunTool({"record", "triggerinfo-6", "00"});
  EXPECT_EQ(run.code, 2);
  EXPECT_THAT(run.err, HasSubstr("triggerinfo-6"));
}

}  // namespace
