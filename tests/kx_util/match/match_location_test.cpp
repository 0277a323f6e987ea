// Where files lie, beside what tests/data/match/locations.txt says.
#include <gmock/gmock.h>
#include <kx_util/kx_util.h>

#include "tests/support/recorded_facts.h"
#include "tests/support/trace_capture.h"
#include "tests/support/wipe_capture.h"

namespace {

using testing::ElementsAre;

/// Counts how often it is asked about a drive. X: is of a type that there is none of.
struct CountingMachine : CkxRecordedMachine {
  CountingMachine()
      : CkxRecordedMachine(
            {{KXW('C'), EkxDriveType::Fixed}, {KXW('D'), EkxDriveType::Cdrom}, {KXW('X'), EkxDriveType{7}}},
            EkxDriveType::NoRoot) {}
  EkxDriveType DriveType(WCHAR letter) const override {
    ++questions;
    return CkxRecordedMachine::DriveType(letter);
  }
  mutable size_t questions = 0;
};

class Location : public testing::Test {
 protected:
  static bool Matches(const WCHAR* path, const WCHAR* types, const WCHAR* pattern) {
    return KxUtil_MatchFileLocation(CkxSimplePathProvider(path), types, pattern, true);
  }
  const CountingMachine machine;
  const CkxTraceCapture trace;

 private:
  const CkxMachineFactsScope _scope{machine};
};

TEST_F(Location, TheTypeOfAPathIsThatOfItsDrive) {
  for (const auto& [path, type] : {std::pair(KXW("C:\\a"), "FIXED"), {KXW("Q:\\a"), "UNKNOWN"}}) {
    EXPECT_EQ(KxText_ToUtf8(KxUtil_GetFileLocationType(CkxSimplePathProvider(path))), type);
    EXPECT_EQ(KxUtil_IsFileLocationTypeFixed(path), std::string("FIXED") == type);
  }
  EXPECT_EQ(KxText_ToUtf8(KxUtil_GetFileLocationType(nullptr, KXW("X:\\a"))), "UNKNOWN");
  EXPECT_THAT(trace.Texts(),
              ElementsAre("KXT_ERROR KxUtil_GetFileLocationType: ERROR: GetDriveType returned unexpected value 7"));
}

TEST_F(Location, TypesAreEqualWithoutCaseAndNullToNullOnly) {
  EXPECT_TRUE(KxUtil_IsEqualLocationType(KXW("Fixed"), KXW("FIXED")));
  EXPECT_FALSE(KxUtil_IsEqualLocationType(KXW("FIXED"), KXW("FIXED ")));
  EXPECT_TRUE(KxUtil_IsEqualLocationType({}, {}));
  EXPECT_FALSE(KxUtil_IsEqualLocationType({}, KXW("")));
  EXPECT_FALSE(KxUtil_IsEqualLocationType(KXW(""), {}));
}

TEST_F(Location, TheMachineIsAskedOnceHoweverLongTheListIs) {
  KxWString types;
  for (int i = 0; i < 1000; ++i) types += KXW("CDROM,");
  EXPECT_FALSE(KxUtil_MatchFileLocationTypes(CkxSimplePathProvider(KXW("C:\\a")), types.c_str()));
  EXPECT_EQ(machine.questions, 1u);
}

TEST_F(Location, APatternThatIsWrittenAnewIsWiped) {
  const CkxWipeCapture wiped;
  EXPECT_TRUE(Matches(KXW("D:\\setup\\a.exe"), KXW("CDROM"), KXW("CDROM:\\setup")));
  EXPECT_THAT(wiped.left, ElementsAre(KxBytes(2 * KxWStringView(KXW("D:\\setup")).size())));
}

TEST_F(Location, MissingArgumentsAndWildcardsAreTraced) {
  const CkxSimplePathProvider noPath(nullptr);
  EXPECT_FALSE(KxUtil_MatchFileLocationType(CkxSimplePathProvider(KXW("C:\\a")), KXW("")));
  EXPECT_FALSE(KxUtil_MatchFileLocationType(noPath, KXW("ANY")));
  EXPECT_FALSE(KxUtil_MatchFileLocationTypes(noPath, KXW("ANY")));
  EXPECT_TRUE(Matches(KXW("C:\\x\\a.exe"), nullptr, KXW("C:\\*")));
  EXPECT_FALSE(Matches(KXW("C:\\x\\"), nullptr, KXW("C:\\*")));
  EXPECT_FALSE(Matches(KXW("C:a.exe"), nullptr, KXW("C:*")));
  EXPECT_THAT(
      trace.Texts(),
      ElementsAre("KXT_ERROR KxUtil_MatchFileLocationType: ERROR: Invalid arguments [C:\\a], []",
                  "KXT_ERROR KxUtil_MatchFileLocationType: ERROR: Invalid arguments [], [ANY]",
                  "KXT_ERROR KxUtil_MatchFileLocationTypes: ERROR: Non-valid file path",
                  "KXT_DEBUG KxUtil_MatchFileLocation: DEBUG: About to regex match wildcard pattern. File path without "
                  "file name: [C:\\x\\],  location pattern from policy: [C:\\*]",
                  "KXT_INFO KxUtil_MatchFileLocation: INFO: Failed to remove file name from path. File path without "
                  "file name: [C:\\x\\],  location pattern from policy: [C:\\*]",
                  "KXT_INFO KxUtil_MatchFileLocation: INFO: Failed to restore backslash to file path. File path "
                  "without file name: [],  location pattern from policy: [C:*]"));
}

}  // namespace
