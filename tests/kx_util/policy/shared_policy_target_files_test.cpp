#include <kx_util/shared_policy_target_files.h>

#include <gtest/gtest.h>

#include "tests/kx_util/policy/file_target_records.h"
#include "tests/support/read_target.h"

namespace {

using namespace kx_file_targets;

TEST(FileTargets, AShorterRecordIsNone) {
  for (const CkxRecordBytes& record :
       {Script(Origin()), Msi(Origin()), Msu(Origin()), Dll(Origin()), ActiveX(), AppPackage()}) {
    KxTest_ExpectNoneShorter(record);
  }
  KxTest_ExpectNoneShorter(Com(), 4);
}

TEST(FileTargets, TellWhatTheShortInfoHolds) {
  const struct {
    CkxRecordBytes record;
    bool inheritable;
    bool needsTools;
  } kCases[] = {{Script(), true, true}, {Msi(), false, false},     {Msu(), false, false},      {Dll(), false, false},
                {Com(), false, false},  {ActiveX(), false, false}, {AppPackage(), true, false}};
  for (const auto& c : kCases) {
    const CkxReadTarget target(c.record);
    SCOPED_TRACE(KxText_ToUtf8(KxUtil_PolicyTargetTypeStr(target.As().TargetType())));
    SkxTriggerPolicyShortInfo info;
    target.As().FillTargetInfo(info);
    EXPECT_EQ(EkxPolicyTarget{info.TargetType}, target.As().TargetType());
    EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 5u);
    EXPECT_EQ(info.Inheritable != 0, c.inheritable);
    EXPECT_EQ(target.As().RequiresKxToolsFolder(), c.needsTools);
  }
  EXPECT_FALSE(CkxReadTarget(Bare(4)).As().RequiresKxToolsFolder());
}

TEST(FileTargets, DebugTexts) {
  const std::string location = "    Location (with subfolders): C:\\Apps\r\n    LocationTypes: FIXED,CDROM\r\n";
  const std::string fileName = "    Filename: is like thing*, SHA1##00FF, 1000 bytes\r\n";
  const std::string arguments = "    Arguments: contains /quiet\r\n";
  const std::string owners = "    Owners: S-1-5-32-544 or S-1-5-18\r\n";
  const std::string publishers = "    Publishers: equals Vendor, case-sensitive\r\n";
  const std::string origin = "    Origin: of source type 3\r\n";
  const std::string parentAndOrigin = "    ParentProcess: in {00000001-0000-0000-0000-000000000001}\r\n" + origin;
  const std::string fileVersion = "    FileVersion: 1.0.0.0 to 1.65535.65535.65534\r\n";
  const std::string productVersion = "    ProductVersion: from 2.0.0.0\r\n";
  const std::string versionFields = "    VersionInfo: CompanyName is like Vend*\r\n";
  const std::string classId = "    ClassId: is like {0000000C*\r\n";
  const struct {
    CkxRecordBytes record;
    std::string text;
  } kCases[] = {
      {Script(Origin()), "\r\n  Target: SCRIPT. Inheritable=Yes Embedded=Yes\r\n" + location + fileName + arguments +
                             owners + publishers + parentAndOrigin},
      {Msi(Origin()), "\r\n  Target: MSI.\r\n" + productVersion + location + fileName + arguments + owners +
                          publishers + "    InstallerProperties: ProductCode equals {1}\r\n" + parentAndOrigin},
      {Msu(Origin()), "\r\n  Target: MSU.\r\n" + location + fileName + owners + publishers + parentAndOrigin},
      {Dll(Origin()), "\r\n  Target: DLL.\r\n" + fileVersion + productVersion + location + fileName + owners +
                          publishers + versionFields + origin},
      {ActiveX(), "\r\n  Target: ACTIVEX.\r\n" + classId + "    SourceAddress: starts with https://vendor/\r\n" +
                      location + fileName + publishers},
      {Com(), "\r\n  Target: COM.\r\n" + classId + location + fileName + owners + publishers + versionFields},
      {AppPackage(),
       "\r\n  Target: APPPACKAGE. Inheritable=Yes\r\n    Version: 1.0.0.0 to 1.65535.65535.65534\r\n"
       "    Name: equals Vendor.App\r\n" +
           publishers + "    Capabilities: internetClient and not webcam\r\n"},
      {Bare(4), "\r\n  Target: SCRIPT. Inheritable=No Embedded=No\r\n"},
      {Bare(5), "\r\n  Target: MSI.\r\n"},
      {Bare(6), "\r\n  Target: MSU.\r\n"},
      {Bare(21), "\r\n  Target: DLL.\r\n"},
      {Bare(9), "\r\n  Target: ACTIVEX.\r\n"},
      {Bare(15), "\r\n  Target: COM.\r\n"},
      {Bare(20), "\r\n  Target: APPPACKAGE. Inheritable=No\r\n"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(KxTest_DebugText(c.record), c.text);
  }
}

}  // namespace
