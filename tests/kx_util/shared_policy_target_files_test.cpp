#include <kx_util/shared_policy_target_files.h>

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"
#include "tests/kx_util/file_target_records.h"

namespace {

using namespace kx_file_targets;

TEST(FileTargets, EndWhereTheyEnd) {
  const struct {
    const char* name;
    CkxRecordBytes record;
    size_t slack;  // of an obfuscated text that ends a record, up to four bytes may not be there
  } kRecords[] = {
      {"script", Script(Origin()), 0}, {"msi", Msi(Origin()), 0}, {"msu", Msu(Origin()), 0},
      {"dll", Dll(Origin()), 0},       {"activex", ActiveX(), 0}, {"com", Com(), 4},
      {"package", AppPackage(), 0},
  };
  for (const auto& [name, record, slack] : kRecords) {
    SCOPED_TRACE(name);
    const KxBytes bytes = record.Bytes();
    const ReadTarget whole(record);
    ASSERT_NE(whole.node, nullptr);
    EXPECT_EQ(whole.bytes.Consumed(), bytes.size());
    for (size_t count = 0; count < bytes.size(); ++count) {
      CkxExactBytes part(bytes, count);
      if (count >= 8) {
        part.Data()[4] = static_cast<unsigned char>(count);
        part.Data()[5] = static_cast<unsigned char>(count >> 8);
      }
      EXPECT_EQ(ReadTarget::Read(part) != nullptr, count >= bytes.size() - slack) << "of " << count << " bytes";
    }
  }
}

std::string Utf8(CkxTextView text) { return KxText_ToUtf8(text); }

/// What properties of targets that have them hold.
template <class Target>
void ExpectFile(const Target& target) {
  EXPECT_EQ(Utf8(target.Location().Pattern()), "C:\\Apps");
  EXPECT_TRUE(target.Location().WithSubfolders());
  EXPECT_EQ(Utf8(target.Location().LocationTypes()), "FIXED,CDROM");
  EXPECT_EQ(Utf8(target.FileName().Pattern()), "thing*");
  EXPECT_EQ(target.FileName().CompareAs(), EkxStrCompareAs::StrWildcard);
  EXPECT_EQ(Utf8(target.FileName().HashAlgorithm()), "SHA1");
  EXPECT_EQ(Utf8(target.FileName().Hash()), "SHA1##00FF");
  EXPECT_EQ(target.FileName().FileSize(), 1000);
}
template <class Target>
void ExpectPublishers(const Target& target) {
  ASSERT_EQ(target.Publishers().Count(), 1u);
  const CkxShBufPropPublisher& publisher = (*target.Publishers().Elements().begin()).prop;
  EXPECT_EQ(Utf8(publisher.Pattern()), "Vendor");
  EXPECT_TRUE(publisher.CaseSensitive());
  EXPECT_FALSE(publisher.UnsignedOnly());
}
template <class Target>
void ExpectOwners(const Target& target) {
  ASSERT_EQ(target.Owners().Count(), 2u);
  EXPECT_EQ((*target.Owners().Elements().begin()).prop.Owner().ToUtf8(), "S-1-5-32-544");
}
template <class Target>
void ExpectVersionFields(const Target& target) {
  ASSERT_EQ(target.VersionFields().Count(), 1u);
  EXPECT_EQ(Utf8((*target.VersionFields().Elements().begin()).prop.Field()), "CompanyName");
}
template <class Target>
void ExpectParentAndOrigin(const Target& target) {
  EXPECT_EQ(target.ParentProcess().IncludedGroup().Data1, 1u);
  EXPECT_EQ(target.ParentProcess().ExcludedGroup().Data1, 0u);
  EXPECT_EQ(target.Origin().MainSourceType(), 3u);
}
void ExpectArguments(const CkxShBufPropArguments& arguments) {
  EXPECT_EQ(Utf8(arguments.Pattern()), "/quiet");
  EXPECT_EQ(arguments.CompareAs(), EkxStrCompareAs::StrContains);
}

TEST(FileTargets, HaveTheirFieldsInOrder) {
  {
    const ReadTarget read(Script(Origin()));
    const auto& script = read.As<CkxShBufTargetScript>();
    EXPECT_TRUE(script.Inheritable());
    EXPECT_TRUE(script.IsEmbedded());
    ExpectFile(script);
    ExpectArguments(script.Arguments());
    ExpectOwners(script);
    ExpectPublishers(script);
    ExpectParentAndOrigin(script);
  }
  {
    const ReadTarget read(Msi(Origin()));
    const auto& package = read.As<CkxShBufTargetMsi>();
    EXPECT_TRUE(package.ProductVersions().Range().MinVersion().IsEqual(2, 0, 0, 0));
    ExpectFile(package);
    ExpectArguments(package.Arguments());
    ExpectOwners(package);
    ExpectPublishers(package);
    ASSERT_EQ(package.InstallerProperties().Count(), 1u);
    EXPECT_EQ(Utf8((*package.InstallerProperties().Elements().begin()).prop.Property()), "ProductCode");
    ExpectParentAndOrigin(package);
  }
  {
    const ReadTarget read(Msu(Origin()));
    const auto& package = read.As<CkxShBufTargetMsu>();
    ExpectFile(package);
    ExpectOwners(package);
    ExpectPublishers(package);
    ExpectParentAndOrigin(package);
  }
  {
    const ReadTarget read(Dll(Origin()));
    const auto& library = read.As<CkxShBufTargetDll>();
    EXPECT_TRUE(library.FileVersions().Range().MinVersion().IsEqual(1, 0, 0, 0));
    EXPECT_TRUE(library.ProductVersions().Range().MinVersion().IsEqual(2, 0, 0, 0));
    ExpectFile(library);
    ExpectOwners(library);
    ExpectPublishers(library);
    ExpectVersionFields(library);
    EXPECT_EQ(library.Origin().MainSourceType(), 3u);
  }
  {
    const ReadTarget read(ActiveX());
    const auto& control = read.As<CkxShBufTargetActiveX>();
    EXPECT_EQ(Utf8(control.ClassId().Pattern()), "{0000000C*");
    EXPECT_EQ(Utf8(control.SourceAddress().Pattern()), "https://vendor/");
    ExpectFile(control);
    ExpectPublishers(control);
  }
  {
    const ReadTarget read(Com());
    const auto& component = read.As<CkxShBufTargetCom>();
    EXPECT_EQ(Utf8(component.ClassId().Pattern()), "{0000000C*");
    ExpectFile(component);
    ExpectOwners(component);
    ExpectPublishers(component);
    ExpectVersionFields(component);
  }
  {
    const ReadTarget read(AppPackage());
    const auto& package = read.As<CkxShBufTargetAppPackage>();
    EXPECT_TRUE(package.Inheritable());
    EXPECT_TRUE(package.Versions().Range().MinVersion().IsEqual(1, 0, 0, 0));
    EXPECT_EQ(Utf8(package.PackageName().Pattern()), "Vendor.App");
    ExpectPublishers(package);
    std::string capabilities;
    for (const auto& node : package.Capabilities().Elements()) {
      capabilities += (node.prop.Flag() ? "+" : "-") + Utf8(node.prop.Name());
    }
    EXPECT_EQ(capabilities, "+internetClient-webcam");
  }
}

TEST(FileTargets, TellWhatTheShortInfoHolds) {
  const struct {
    CkxRecordBytes record;
    bool inheritable;
    bool needsTools;
  } kCases[] = {{Script(), true, true}, {Msi(), false, false},     {Msu(), false, false},      {Dll(), false, false},
                {Com(), false, false},  {ActiveX(), false, false}, {AppPackage(), true, false}};
  for (const auto& c : kCases) {
    const ReadTarget target(c.record);
    SCOPED_TRACE(Utf8(KxUtil_PolicyTargetTypeStr(target.As().TargetType())));
    SkxTriggerPolicyShortInfo info;
    target.As().FillTargetInfo(info);
    EXPECT_EQ(EkxPolicyTarget{info.TargetType}, target.As().TargetType());
    EXPECT_EQ(uint32_t{info.PolicyTargetId.Data1}, 5u);
    EXPECT_EQ(info.Inheritable != 0, c.inheritable);
    EXPECT_EQ(target.As().RequiresKxToolsFolder(), c.needsTools);
  }
  EXPECT_FALSE(ReadTarget(Bare(4)).As().RequiresKxToolsFolder());
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
    CkxUtilStr text;
    ReadTarget(c.record).As().AppendDebugMsg(text);
    EXPECT_EQ(Utf8(text.View()), c.text);
  }
}

}  // namespace
