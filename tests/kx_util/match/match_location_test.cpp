#include <gmock/gmock.h>
#include <kx_util/kx_util.h>
#include <kx_util/shared_buffer.h>

#include "tests/support/recorded_facts.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A drive of each type, of a strange one, and two that are mapped: Z:, and N:, which does not answer.
CkxRecordedMachine Machine() {
  CkxRecordedMachine machine({{KXW('C'), EkxDriveType::Fixed},
                              {KXW('D'), EkxDriveType::Cdrom},
                              {KXW('E'), EkxDriveType::Removable},
                              {KXW('R'), EkxDriveType::RamDisk},
                              {KXW('Z'), EkxDriveType::Remote},
                              {KXW('X'), EkxDriveType{7}}},
                             EkxDriveType::NoRoot);
  machine.shares[KXW('Z')] = machine.shares[KXW('N')] = KXW("\\\\srv\\share");
  return machine;
}

class Location : public testing::Test {
 protected:
  static bool Matches(const WCHAR* path, const WCHAR* types, const WCHAR* pattern, bool withSubfolders = true) {
    return KxUtil_MatchFileLocation(CkxSimplePathProvider(path), types, pattern, withSubfolders);
  }

 private:
  const CkxRecordedMachine _machine = Machine();
  const CkxMachineFactsScope _scope{_machine};
};

TEST_F(Location, TypeIsThatOfTheDriveOrOfAShare) {
  struct {
    const WCHAR* path;
    const char* type;
  } const cases[] = {
      {KXW("C:\\a.exe"), "FIXED"},
      {KXW("c:/a.exe"), "FIXED"},
      {KXW("D:\\a.exe"), "CDROM"},
      {KXW("E:\\a.exe"), "REMOVABLE"},
      {KXW("R:\\a.exe"), "RAMDISK"},
      {KXW("Z:\\a.exe"), "REMOTE"},
      {KXW("Q:\\a.exe"), "UNKNOWN"},
      {KXW("\\\\srv\\share\\a.exe"), "REMOTE"},
      {KXW("\\\\srv\\s"), "REMOTE"},
      {KXW("\\\\srv"), "UNKNOWN"},
      {KXW("\\\\srv\\"), "UNKNOWN"},
      {KXW("\\\\srv\\\\share"), "UNKNOWN"},
      {KXW("\\\\\\srv\\share"), "UNKNOWN"},
      {KXW("\\\\srv/share"), "UNKNOWN"},
      {KXW("//srv/share"), "UNKNOWN"},
      {KXW("\\\\?\\c:\\a.exe"), "FIXED"},
      {KXW("\\\\.\\D:\\a.exe"), "CDROM"},
      {KXW("\\\\?\\UNC\\srv\\share\\a.exe"), "REMOTE"},
      {KXW("\\\\?\\UNC\\srv"), "UNKNOWN"},
      {KXW("a.exe"), "UNKNOWN"},
      {KXW("System"), "UNKNOWN"},
      {KXW(""), "UNKNOWN"},
      {nullptr, "UNKNOWN"},
  };
  const CkxTraceCapture trace;
  for (const auto& c : cases) {
    SCOPED_TRACE(KxText_ToUtf8(c.path));
    EXPECT_EQ(KxText_ToUtf8(KxUtil_GetFileLocationType(nullptr, c.path)), c.type);
    EXPECT_EQ(KxText_ToUtf8(KxUtil_GetFileLocationType(CkxSimplePathProvider(c.path))), c.type);
    EXPECT_EQ(KxUtil_IsFileLocationTypeFixed(c.path), std::string("FIXED") == c.type);
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(Location, StrangeDriveTypesAreTracedAndUnknown) {
  const CkxTraceCapture trace;
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

struct CountingMachine : CkxRecordedMachine {
  EkxDriveType DriveType(WCHAR letter) const override {
    ++questions;
    return CkxRecordedMachine::DriveType(letter);
  }
  mutable size_t questions = 0;
};

TEST_F(Location, TheMachineIsAskedOnceHoweverLongTheListIs) {
  const CountingMachine machine;
  const CkxMachineFactsScope scope(machine);
  KxWString types;
  for (int i = 0; i < 1000; ++i) types += KXW("CDROM,");
  EXPECT_FALSE(KxUtil_MatchFileLocationTypes(CkxSimplePathProvider(KXW("C:\\a")), types.c_str()));
  EXPECT_EQ(machine.questions, 1u);
}

size_t wipedBytes = 0;
void CountWiped(const unsigned char*, size_t count) { wipedBytes += count; }

TEST_F(Location, APatternThatIsWrittenAnewIsWiped) {
  const KxWipeHook before = KxUtil_SetWipeHook(CountWiped);
  EXPECT_TRUE(Matches(KXW("D:\\setup\\a.exe"), KXW("CDROM"), KXW("CDROM:\\setup")));
  KxUtil_SetWipeHook(before);
  EXPECT_EQ(wipedBytes, KxWStringView(KXW("D:\\setup")).size() * sizeof(WCHAR));
}

TEST_F(Location, TypesOfAList) {
  struct {
    const WCHAR* types;
    bool matchesFixed;
  } const cases[] = {
      {nullptr, true},
      {KXW(""), true},
      {KXW("any"), true},
      {KXW("REMOVABLE,FIXED"), true},
      {KXW(",,fixed,"), true},
      {KXW("REMOVABLE, FIXED"), false},
      {KXW("REMOVABLE,Any"), true},
      {KXW("REMOVABLE,any "), false},
      {KXW("CDROM"), false},
      {KXW(","), false},
      {KXW("FIXEDX"), false},
  };
  const CkxTraceCapture trace;
  for (const auto& c : cases) {
    EXPECT_EQ(KxUtil_MatchFileLocationTypes(CkxSimplePathProvider(KXW("C:\\a")), c.types), c.matchesFixed)
        << KxText_ToUtf8(c.types);
  }
  EXPECT_TRUE(KxUtil_MatchFileLocationTypes(CkxSimplePathProvider(KXW("a")), KXW("UNKNOWN")));
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(Location, MissingArgumentsAreTraced) {
  const CkxSimplePathProvider path(KXW("C:\\a"));
  const CkxSimplePathProvider noPath(nullptr);
  const CkxTraceCapture trace;
  EXPECT_FALSE(KxUtil_MatchFileLocationType(path, KXW("")));
  EXPECT_FALSE(KxUtil_MatchFileLocationType(noPath, KXW("ANY")));
  EXPECT_FALSE(KxUtil_MatchFileLocationTypes(noPath, KXW("ANY")));
  EXPECT_FALSE(KxUtil_MatchFileLocation(path, {}, {}, true));
  EXPECT_FALSE(KxUtil_MatchFileLocation(CkxSimplePathProvider(KXW("")), {}, KXW("*"), true));
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR KxUtil_MatchFileLocationType: ERROR: Invalid arguments [C:\\a], []",
                                         "KXT_ERROR KxUtil_MatchFileLocationType: ERROR: Invalid arguments [], [ANY]",
                                         "KXT_ERROR KxUtil_MatchFileLocationTypes: ERROR: Non-valid file path",
                                         "KXT_ERROR KxUtil_MatchFileLocation: ERROR: Invalid arguments [C:\\a], []",
                                         "KXT_ERROR KxUtil_MatchFileLocation: ERROR: Invalid arguments [], [*]"));
}

TEST_F(Location, IsInAFolderOrMatchesAWildcard) {
  struct {
    const char* name;
    const WCHAR* path;
    const WCHAR* pattern;
    bool withSubfolders;
    bool without;
  } const cases[] = {
      {"the folder", KXW("C:\\Tools\\a.exe"), KXW("c:\\tools"), true, true},
      {"below", KXW("C:\\Tools\\x\\a.exe"), KXW("C:\\Tools"), true, false},
      {"the file itself is no folder", KXW("C:\\Tools\\a.exe"), KXW("C:\\Tools\\a.exe"), false, false},
      {"a drive", KXW("C:\\x\\a.exe"), KXW("C:\\"), true, false},
      {"a share", KXW("\\\\srv\\share\\x\\a.exe"), KXW("\\\\SRV\\share"), true, false},
      {"no folder at all", KXW("a.exe"), KXW("C:\\"), false, false},

      {"mapped drive in a share's folder", KXW("Z:\\x\\a.exe"), KXW("\\\\srv\\share\\x"), true, true},
      {"mapped drive below a share", KXW("Z:\\x\\a.exe"), KXW("\\\\srv\\share"), true, false},
      {"mapped drive, by its letter", KXW("z:\\x\\a.exe"), KXW("Z:\\x"), true, true},
      {"mapped drive, wildcards", KXW("Z:\\x\\a.exe"), KXW("\\\\srv\\*\\x\\"), true, true},
      {"mapped drive, of another share", KXW("Z:\\x\\a.exe"), KXW("\\\\srv\\other\\*"), false, false},
      {"a fixed drive is no share", KXW("C:\\x\\a.exe"), KXW("\\\\srv\\share"), false, false},
      {"drive-relative", KXW("Z:a.exe"), KXW("\\\\srv\\*"), false, false},

      {"any optical drive", KXW("D:\\setup\\a.exe"), KXW("cdrom:\\setup"), true, true},
      {"all of it", KXW("D:\\setup\\a.exe"), KXW("CDROM:"), true, false},
      {"wildcards there", KXW("D:\\setup\\a.exe"), KXW("CDROM:\\*\\"), true, true},
      {"another folder there", KXW("D:\\setup\\a.exe"), KXW("CDROM:\\other"), false, false},
      {"no optical drive", KXW("C:\\setup\\a.exe"), KXW("CDROM:\\setup"), false, false},
      {"another kind of medium", KXW("E:\\setup\\a.exe"), KXW("CDROM:\\setup"), false, false},
      {"no drive", KXW("\\\\srv\\share\\a.exe"), KXW("CDROM:\\*"), false, false},

      {"wildcards match the whole folder", KXW("C:\\Users\\Joe\\Desktop\\a.exe"), KXW("c:\\users\\*\\desktop\\"), true,
       true},
      {"the separator belongs to it", KXW("C:\\Users\\Joe\\Desktop\\a.exe"), KXW("c:\\users\\*\\desktop"), false,
       false},
      {"the file name does not", KXW("C:\\Users\\a.exe"), KXW("C:\\*.exe"), false, false},
      {"asterisk over separators", KXW("C:\\a\\b\\c\\a.exe"), KXW("C:\\*\\c\\"), true, true},
      {"one unit", KXW("E:\\a\\a.exe"), KXW("?:\\a\\"), true, true},
      {"wildcards and slashes", KXW("C:/Users/Joe/a.exe"), KXW("C:\\Users\\*"), true, true},

      {"climbs out", KXW("C:\\Program Files\\..\\Users\\a.exe"), KXW("C:\\Program Files"), false, false},
      {"climbs out of a wildcard", KXW("C:\\Program Files\\..\\Users\\a.exe"), KXW("C:\\Program Files\\*"), false,
       false},
      {"climbs out in slashes", KXW("C:/Program Files/x/../../Users/a.exe"), KXW("C:\\Program Files\\*"), false, false},
      {"climbs into it", KXW("C:\\Users\\..\\Program Files\\x\\a.exe"), KXW("C:\\Program Files\\*"), true, true},
      {"a letter that looks like one of its name", KXW("C:\\Program F\u0131les\\a.exe"), KXW("C:\\Program Files"),
       false, false},
      {"the same, wildcards", KXW("C:\\U\u017Fers\\a.exe"), KXW("C:\\Users\\*"), false, false},
      {"the same, in the pattern", KXW("C:\\Users\\a.exe"), KXW("C:\\U\u017Fers"), false, false},
      {"ends above it", KXW("C:\\Program Files\\.."), KXW("C:\\Program Files\\*"), false, false},
      {"climbs on a share", KXW("\\\\srv\\share\\x\\..\\y\\a.exe"), KXW("\\\\srv\\share\\x\\*"), false, false},
      {"climbs on a mapped drive", KXW("Z:\\x\\..\\y\\a.exe"), KXW("\\\\srv\\share\\x\\*"), false, false},

      {"drive behind a device prefix", KXW("\\\\?\\C:\\Tools\\a.exe"), KXW("C:\\Tools"), true, true},
      {"the same, wildcards", KXW("\\\\?\\C:\\Tools\\a.exe"), KXW("c:\\t*\\"), true, true},
      {"the same, optical", KXW("\\\\?\\D:\\setup\\a.exe"), KXW("CDROM:\\setup"), true, true},
      {"the same, mapped", KXW("\\\\?\\Z:\\x\\a.exe"), KXW("\\\\srv\\share\\x"), true, true},
      {"the same, climbing", KXW("\\\\?\\C:\\Tools\\..\\a.exe"), KXW("C:\\Tools\\*"), false, false},
      {"share behind a device prefix", KXW("\\\\?\\UNC\\srv\\share\\x\\a.exe"), KXW("\\\\srv\\share\\x"), true, true},
      {"the same, wildcards ", KXW("\\\\?\\UNC\\srv\\share\\x\\a.exe"), KXW("\\\\srv\\*\\x\\"), true, true},
      {"the prefix twice", KXW("\\\\?\\\\\\?\\C:\\Tools\\a.exe"), KXW("C:\\Tools"), false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Matches(c.path, nullptr, c.pattern, true), c.withSubfolders);
    EXPECT_EQ(Matches(c.path, nullptr, c.pattern, false), c.without);
  }
}

TEST_F(Location, NeedsTheTypeAsWell) {
  EXPECT_TRUE(Matches(KXW("C:\\x\\a.exe"), KXW("CDROM,FIXED"), KXW("C:\\x")));
  EXPECT_FALSE(Matches(KXW("C:\\x\\a.exe"), KXW("CDROM"), KXW("C:\\x")));
  EXPECT_TRUE(Matches(KXW("Z:\\a.exe"), KXW("REMOTE"), KXW("\\\\srv\\share")));
  EXPECT_TRUE(Matches(KXW("N:\\a.exe"), nullptr, KXW("\\\\srv\\share")));  // mapped, though the drive does not answer
}

TEST_F(Location, WildcardsAreTraced) {
  const CkxTraceCapture trace;
  EXPECT_TRUE(Matches(KXW("C:\\x\\a.exe"), nullptr, KXW("C:\\*")));
  EXPECT_FALSE(Matches(KXW("C:\\x\\"), nullptr, KXW("C:\\*")));
  EXPECT_FALSE(Matches(KXW("C:a.exe"), nullptr, KXW("C:*")));
  EXPECT_THAT(
      trace.Texts(),
      ElementsAre("KXT_DEBUG KxUtil_MatchFileLocation: DEBUG: About to regex match wildcard pattern. File path without "
                  "file name: [C:\\x\\],  location pattern from policy: [C:\\*]",
                  "KXT_INFO KxUtil_MatchFileLocation: INFO: Failed to remove file name from path. File path without "
                  "file name: [C:\\x\\],  location pattern from policy: [C:\\*]",
                  "KXT_INFO KxUtil_MatchFileLocation: INFO: Failed to restore backslash to file path. File path "
                  "without file name: [],  location pattern from policy: [C:*]"));
}

}  // namespace
