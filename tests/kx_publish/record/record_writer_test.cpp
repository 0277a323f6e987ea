// Records against bytes put together by hand: what agents in the field read must not change by accident.
#include <gtest/gtest.h>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/record/encode.h"
#include "tests/support/record_bytes.h"

namespace {

constexpr uint32_t kPolicyMagic = 0x22232425;
constexpr uint32_t kGroupMagic = 0x22232426;
constexpr uint32_t kTargetMagic = 0x22232427;
constexpr uint32_t kAlertMagic = 0x22232428;

/// A policy of `action` named "P", as far as the common fields go, then what `rest` has.
KxBytes PolicyBytes(uint32_t action, const CkxRecordBytes& rest) {
  CkxRecordBytes record;
  record.U32(kPolicyMagic).SizeHere().U32(action).U32(7).U8(1).Zeros(7).U64(0x1122334455667788).U8(0).Zeros(7);
  record.Obfuscated(u"P").Text(u"G1").Absent().U32(0xA0B0C0D0).U32(3);
  record.U32(1).U32(26).U16(2).U16(0).Id(9);
  return record.Append(rest).Bytes();
}

SkxPolicyModel Policy(EkxPolicyAction action, SkxPolicyParams params = {}) {
  SkxPolicyModel policy;
  policy.action = action;
  policy.id = 7;
  policy.order = 0x1122334455667788;
  policy.name = KXW("P");
  policy.gpId = KXW("G1");
  policy.reportUsageState = 0xA0B0C0D0;
  policy.guiType = 3;
  policy.alerts = {{26, 2, KxTest_Id(9)}};
  policy.params = std::move(params);
  return policy;
}

SkxPolicyModel PolicyWith(SkxTargetBody body) {
  SkxPolicyModel policy = Policy(EkxPolicyAction::Block);
  policy.policyAutomation = true;
  policy.targets.push_back({KxTest_Id(5), std::move(body)});
  return policy;
}

/// The rest of a policy with one target, number 5.
CkxRecordBytes OneTarget(uint32_t type, const CkxRecordBytes& body) {
  CkxRecordBytes target;
  target.U32(kTargetMagic).SizeHere().Id(5).U32(type).Append(body);
  return CkxRecordBytes().U8(1).U32(1).Append(target);
}

CkxRecordBytes NoTargets() { return CkxRecordBytes().U8(0).U32(0); }

CkxSid Sid(const char* text) { return CkxSid::FromUtf8(text).value(); }

SkxTextTest TextTest(const WCHAR* pattern, bool caseSensitive, uint16_t compareAs) {
  return {pattern, caseSensitive, compareAs};
}

SkxExeTarget FullExe() {
  SkxExeTarget exe;
  exe.inheritable = true;
  exe.fileVersion = SkxVersionBounds{0x0001000200030004, SkxVersionBounds::kOpen};
  exe.productVersion = SkxVersionBounds{SkxVersionBounds::kOpen, 0x0005000000000000};
  exe.location = SkxLocationTest{KXW("C:\\X"), true, KXW("FIXED,CDROM")};
  exe.fileName = SkxFileNameTest{KXW("a.exe"), 1, KXW("MD5"), KXW("MD5##00FF"), 1000};
  exe.arguments = TextTest(KXW("/q"), true, 3);
  exe.owners = {Sid("S-1-5-18"), std::nullopt};
  SkxPublisherTest publisher;
  static_cast<SkxTextTest&>(publisher) = TextTest(KXW("Me*"), false, 4);
  publisher.unsignedOnly = true;
  exe.publishers = {publisher};
  SkxVersionFieldTest field;
  static_cast<SkxTextTest&>(field) = TextTest(KXW("v"), false, 1);
  field.name = KXW("F");
  exe.versionFields = {field};
  exe.serviceName = KXW("Spooler");
  exe.parentProcess = SkxParentTest{KxTest_Id(1), true, KxTest_Id(2), false};
  exe.users = KXW("KxNoUsers");
  exe.softwareDistributorName = KXW("S");

  SkxOriginTest origin;
  origin.flag = true;
  origin.mainSourceType = 6;
  origin.distributionService = KXW("D");
  origin.location = SkxLocationTest{KXW("*"), false, KXW("")};
  origin.package = SkxPackageTest{true, KXW("pkg"), SkxVersionBounds{1, 2}, {publisher}};
  origin.spawnerProcess = SkxSpawnerTest{true, 2};
  origin.sourceAddress = TextTest(KXW("http"), false, 2);
  origin.users = {Sid("S-1-5-32-545")};
  exe.origin = origin;
  return exe;
}

CkxRecordBytes FullExeBytes() {
  CkxRecordBytes publisher;
  publisher.Set().Obfuscated(u"Me*").U8(0).U16(4).U8(1);

  CkxRecordBytes body;
  body.U8(1);
  body.Set().U32(0x00010002).U32(0x00030004).U32(0xFFFFFFFF).U32(0xFFFFFFFF);
  body.Set().U32(0xFFFFFFFF).U32(0xFFFFFFFF).U32(0x00050000).U32(0);
  body.Set().Obfuscated(u"C:\\X").U8(1).Text(u"FIXED,CDROM");
  body.Set().Obfuscated(u"a.exe").U16(1).Text(u"MD5").Text(u"MD5##00FF").U64(1000);
  body.Set().Obfuscated(u"/q").U8(1).U16(3);
  body.Set().U32(2).Set().Sid(18).Unset();
  body.Set().U32(1).Append(publisher);
  body.Set().U32(1).Set().Obfuscated(u"v").U8(0).U16(1).Obfuscated(u"F");
  body.Set().Obfuscated(u"Spooler");
  body.Set().Id(1).U8(1).Id(2).U8(0);
  body.Text(u"KxNoUsers");
  body.Set().U8(1).U32(6);
  body.Set().Obfuscated(u"D");
  body.Set().Obfuscated(u"*").U8(0).Absent();
  body.Set().U8(1).Obfuscated(u"pkg").Set().U32(0).U32(1).U32(0).U32(2).U32(1).Append(publisher);
  body.Set().U8(1).U8(2);
  body.Set().Obfuscated(u"http").U8(0).U16(2);
  body.Set().U32(1).Set().Sid(32, 545);
  body.Obfuscated(u"S");
  return body;
}

CkxRecordBytes Str(std::u16string_view pattern) { return CkxRecordBytes().Set().Obfuscated(pattern).U8(0).U16(1); }

SkxScriptTarget Script() {
  SkxScriptTarget script;
  script.embedded = true;
  script.location = SkxLocationTest{KXW("C:\\X"), false, KXW("")};
  script.fileName = SkxFileNameTest{KXW("a.vbs"), 1, KXW(""), KXW(""), -1};
  script.arguments = TextTest(KXW("/q"), false, 1);
  script.owners = {Sid("S-1-5-18")};
  script.parentProcess = SkxParentTest{KxTest_Id(1), false, GUID{}, true};
  return script;
}

CkxRecordBytes ScriptBytes() {
  CkxRecordBytes body;
  body.U8(0).U8(1);
  body.Set().Obfuscated(u"C:\\X").U8(0).Absent();
  body.Set().Obfuscated(u"a.vbs").U16(1).Absent().Absent().U64(~uint64_t{0});
  body.Append(Str(u"/q"));
  body.Set().U32(1).Set().Sid(18);
  body.Unset();  // publishers
  body.Set().Id(1).U8(0).Id(0).U8(1);
  return body.Unset();  // origin
}

SkxMsiTarget Msi() {
  SkxInstallerPropertyTest property;
  static_cast<SkxTextTest&>(property) = TextTest(KXW("{1}"), true, 2);
  property.name = KXW("ProductCode");
  SkxMsiTarget msi;
  msi.productVersion = SkxVersionBounds{1, 2};
  msi.installerProperties = {property, std::nullopt};
  return msi;
}

CkxRecordBytes MsiBytes() {
  CkxRecordBytes body;
  body.Set().U32(0).U32(1).U32(0).U32(2).Unset(5);
  body.Set().U32(2).Set().Obfuscated(u"{1}").U8(1).U16(2).Obfuscated(u"ProductCode").Unset();
  return body.Unset(2);
}

SkxAppPackageTarget AppPackage() {
  SkxAppPackageTarget package;
  package.inheritable = true;
  package.packageName = TextTest(KXW("P"), false, 1);
  package.capabilities = {SkxCapabilityTest{KXW("camera"), true}, SkxCapabilityTest{KXW("mic"), false}};
  return package;
}

CkxRecordBytes AppPackageBytes() {
  CkxRecordBytes body;
  body.U8(1).Unset().Append(Str(u"P")).Unset();
  return body.Set().U32(2).Set().Obfuscated(u"camera").U8(1).Set().Obfuscated(u"mic").U8(0);
}

SkxActiveXTarget ActiveX() {
  SkxActiveXTarget control;
  control.classId = TextTest(KXW("{0}"), false, 1);
  control.sourceAddress = TextTest(KXW("h"), false, 1);
  return control;
}

template <class Target>
Target WithMask(uint32_t mask) {
  Target target;
  target.accessMask = mask;
  return target;
}

SkxRegistryKeyTarget RegistryKey() {
  auto key = WithMask<SkxRegistryKeyTarget>(0x0002001F);
  key.root = 0x80000002;
  key.keyPath = KXW("SOFTWARE");
  return key;
}

SkxFileSystemEntryTarget Folder() {
  auto entry = WithMask<SkxFileSystemEntryTarget>(0x00100116);
  entry.path = {KXW("C:\\X"), true};
  return entry;
}

SkxServiceTarget Service() {
  auto service = WithMask<SkxServiceTarget>(0x20);
  service.service.name = KXW("Spooler");
  return service;
}

SkxUsbDeviceTarget UsbDevice() {
  auto device = WithMask<SkxUsbDeviceTarget>(2);
  SkxMediaTest stick;
  stick.vendor = TextTest(KXW("V"), false, 1);
  stick.serialNumber = TextTest(KXW("7"), false, 1);
  device.media = {std::nullopt, stick};
  return device;
}

CkxRecordBytes UsbDeviceBytes() {
  CkxRecordBytes body;
  body.U32(2).Set().U32(2).Unset();
  return body.Set().Unset().Append(Str(u"V")).Unset().Append(Str(u"7"));
}

struct Case {
  const char* name;
  SkxPolicyModel policy;
  KxBytes bytes;
};

TEST(RecordWriter, PoliciesMatchHandWrittenBytes) {
  SkxExcludeTarget exclude;
  exclude.fileName = SkxFileNameTest{KXW("x"), 2, KXW(""), KXW(""), -1};
  const Case cases[] = {
      {"an empty program target", PolicyWith(SkxExeTarget{}),
       PolicyBytes(2, OneTarget(3, CkxRecordBytes().U8(0).Unset(10).Absent().Unset().Absent()))},
      {"every property of a program", PolicyWith(FullExe()), PolicyBytes(2, OneTarget(3, FullExeBytes()))},
      {"a group link", PolicyWith(SkxGroupLink{KxTest_Id(3)}), PolicyBytes(2, OneTarget(2, CkxRecordBytes().Id(3)))},
      {"an address", PolicyWith(SkxUrlTarget{TextTest(KXW("h*"), false, 4)}),
       PolicyBytes(2, OneTarget(7, CkxRecordBytes().Set().Obfuscated(u"h*").U8(0).U16(4)))},
      {"an exclusion", PolicyWith(exclude),
       PolicyBytes(
           2, OneTarget(16,
                        CkxRecordBytes().Unset().Set().Obfuscated(u"x").U16(2).Absent().Absent().U64(~0ull).Absent()))},
      {"a script", PolicyWith(Script()), PolicyBytes(2, OneTarget(4, ScriptBytes()))},
      {"an installer package", PolicyWith(Msi()), PolicyBytes(2, OneTarget(5, MsiBytes()))},
      {"an empty update package", PolicyWith(SkxMsuTarget{}), PolicyBytes(2, OneTarget(6, CkxRecordBytes().Unset(6)))},
      {"an administrative task", PolicyWith(SkxAdminTaskTarget{12}),
       PolicyBytes(2, OneTarget(8, CkxRecordBytes().U32(12)))},
      {"a control", PolicyWith(ActiveX()),
       PolicyBytes(2, OneTarget(9, CkxRecordBytes().Append(Str(u"{0}")).Append(Str(u"h")).Unset(3)))},
      {"a folder", PolicyWith(Folder()),
       PolicyBytes(2, OneTarget(13, CkxRecordBytes().U32(0x00100116).Set().Obfuscated(u"C:\\X").U8(1)))},
      {"a registry key", PolicyWith(RegistryKey()),
       PolicyBytes(2, OneTarget(14, CkxRecordBytes().U32(0x0002001F).U32(0x80000002).Obfuscated(u"SOFTWARE")))},
      {"an empty component", PolicyWith(SkxComTarget{}), PolicyBytes(2, OneTarget(15, CkxRecordBytes().Unset(6)))},
      {"a service", PolicyWith(Service()),
       PolicyBytes(2, OneTarget(17, CkxRecordBytes().U32(0x20).Set().Obfuscated(u"Spooler")))},
      {"a device", PolicyWith(UsbDevice()), PolicyBytes(2, OneTarget(18, UsbDeviceBytes()))},
      {"any disc", PolicyWith(WithMask<SkxOpticalDiscTarget>(1)),
       PolicyBytes(2, OneTarget(19, CkxRecordBytes().U32(1).Unset()))},
      {"an application package", PolicyWith(AppPackage()), PolicyBytes(2, OneTarget(20, AppPackageBytes()))},
      {"an empty library", PolicyWith(SkxDllTarget{}), PolicyBytes(2, OneTarget(21, CkxRecordBytes().Unset(8)))},
      {"run", Policy(EkxPolicyAction::Run), PolicyBytes(1, NoTargets())},
      {"elevate on demand", Policy(EkxPolicyAction::Trust, SkxElevateOnDemandParams{true, false, true}),
       PolicyBytes(4, NoTargets().U8(1).U8(0).U8(1))},
      {"collect UAC", Policy(EkxPolicyAction::CollectUac), PolicyBytes(5, CkxRecordBytes())},
      {"run and collect events",
       Policy(EkxPolicyAction::RunAndCollectEvents, SkxZeroTouchParams{true, false, false, true, false, true, true}),
       PolicyBytes(6, NoTargets().U8(1).U8(0).U8(0).U8(1).U8(0).U8(1).U8(1))},
      {"log off", Policy(EkxPolicyAction::LogOff), PolicyBytes(7, CkxRecordBytes())},
      {"computer action", Policy(EkxPolicyAction::ComputerAction, SkxComputerActionParams{0x01020304}),
       PolicyBytes(8, CkxRecordBytes().U32(0x01020304))},
      {"run script",
       Policy(EkxPolicyAction::RunScript,
              SkxScriptParams{KxTest_Id(4), KXW("a"), KXW("b"), KXW(""), KXW("d"), KXW("e")}),
       PolicyBytes(9, CkxRecordBytes().Id(4).Obfuscated(u"a").Text(u"b").Absent().Text(u"d").Text(u"e"))},
      {"configuration", Policy(EkxPolicyAction::Configuration, SkxConfigurationParams{KXW("<c/>"), KXW("<m/>")}),
       PolicyBytes(10, CkxRecordBytes().Obfuscated(u"<c/>").Obfuscated(u"<m/>"))},
      {"set security", Policy(EkxPolicyAction::SetSecurity, SkxSetSecurityParams{true}),
       PolicyBytes(11, NoTargets().U8(1))},
      {"exclude", Policy(EkxPolicyAction::Exclude, SkxExcludeParams{0x0102}), PolicyBytes(12, NoTargets().U16(0x0102))},
      {"software distributor", Policy(EkxPolicyAction::SoftwareDistributor), PolicyBytes(13, NoTargets())},
      {"developer application", Policy(EkxPolicyAction::DeveloperApplication), PolicyBytes(18, NoTargets())},
  };
  for (const Case& c : cases) EXPECT_EQ(KxEncode_Policy(c.policy), c.bytes) << c.name;
}

TEST(RecordWriter, AlertsMatchHandWrittenBytes) {
  const struct {
    const char* name;
    SkxAlertModel alert;
    CkxRecordBytes bytes;
  } cases[] = {
      {"a dialog",
       {KXW("never in a record"), KxTest_Id(4), SkxDialogAlert{0x01020304, KXW("a.html")}},
       CkxRecordBytes().U32(kAlertMagic).SizeHere().U16(1).U16(0).Id(4).U32(0x01020304).Text(u"a.html")},
      {"a dialog without a page",
       {KXW(""), KxTest_Id(4), SkxDialogAlert{}},
       CkxRecordBytes().U32(kAlertMagic).SizeHere().U16(1).U16(0).Id(4).U32(0).Absent()},
      {"a balloon",
       {KXW(""), KxTest_Id(5), SkxBalloonAlert{}},
       CkxRecordBytes().U32(kAlertMagic).SizeHere().U16(2).U16(0).Id(5)},
  };
  for (const auto& c : cases) EXPECT_EQ(KxEncode_Alert(c.alert), c.bytes.Bytes()) << c.name;
}

TEST(RecordWriter, SectionsCountTheirRecords) {
  SkxAppGroupModel group;
  group.id = KxTest_Id(1);
  group.name = KXW("never in a record");
  group.targets.push_back({KxTest_Id(5), SkxUrlTarget{}});

  CkxRecordBytes target;
  target.U32(kTargetMagic).SizeHere().Id(5).U32(7).Unset();
  CkxRecordBytes record;
  record.U32(kGroupMagic).SizeHere().Id(1).U32(1).Append(target);
  EXPECT_EQ(KxEncode_AppGroup(group), record.Bytes());

  const SkxPolicyModel policy = Policy(EkxPolicyAction::LogOff);
  const SkxAlertModel alert = {KXW(""), KxTest_Id(2), SkxBalloonAlert{}};
  const KxBytes alertBytes = CkxRecordBytes().U32(kAlertMagic).SizeHere().U16(2).U16(0).Id(2).Bytes();
  const KxBytes policyBytes = PolicyBytes(7, CkxRecordBytes());
  const SkxPolicyImage image = KxEncode_Image({{policy, policy}, {group}, {alert, alert}, {{"*", {7}}}});
  EXPECT_EQ(image.policies, CkxRecordBytes().U32(2).Append(policyBytes).Append(policyBytes).Bytes());
  EXPECT_EQ(image.appGroups, CkxRecordBytes().U32(1).Append(record).Bytes());
  EXPECT_EQ(image.alerts, CkxRecordBytes().U32(2).Append(alertBytes).Append(alertBytes).Bytes());
  EXPECT_EQ(image.applicable, "{\n  \"*\": [7]\n}\n");
  EXPECT_EQ(KxEncode_Image({}).alerts, CkxRecordBytes().U32(0).Bytes()) << "a section with nothing in it";
  EXPECT_FALSE(KxEncode_Image({}).applicable.has_value()) << "no rows: every policy applies to everybody";
}

}  // namespace
