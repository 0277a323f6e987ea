#include "Agent/engine/kx_publish/document/target_document.h"

#include <gmock/gmock.h>
#include <kx_util/kx_util.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/text.h"

namespace {

/// A text of the description; "null" for one that is not there.
std::string Text(const WCHAR* text) { return text != nullptr ? KxText_ToUtf8(text) : "null"; }

std::string SidText(const CkxSid* sid) { return sid != nullptr ? sid->ToUtf8() : "null"; }

std::string Signer(const CkxTargetInfoFile& file, bool second) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const WCHAR* const name = file.GetPublisher(second, status);
  return Text(name) + ", " + std::to_string(static_cast<unsigned>(status));
}

TEST(TargetDocument, FactsReachTheDescription) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(R"({
    "id": "x", "kind": "process", "path": "C:\\Dir\\app.exe", "size": 1000, "modified": 133000000000000000,
    "hashes": {"sha1": "9a", "SHA256": "0F"},
    "signers": [{"name": "Vendör", "status": 4}, {"status": "weak"}],
    "owner": "S-1-5-18", "ownerName": "NT AUTHORITY\\SYSTEM", "fileVersion": "1.2.3.4",
    "versionInfo": {"CompanyName": "Vendor", "ProductVersion": "1.2"}, "msi": {"ProductVersion": "3.0.1"},
    "drives": {"C": "FIXED", "d": "CDROM"}, "mappedDrives": {"H": "\\\\server\\share"},
    "user": {"sid": "S-1-5-21-1-2-3-1001", "groups": ["S-1-5-32-545"], "admin": true},
    "pid": 4711, "commandLine": "app.exe /q", "services": "A/B",
    "parent": {"kind": "file", "path": "C:\\explorer.exe", "user": {"sid": "S-1-5-18"}},
    "linked": [{"kind": "file", "path": "C:\\setup.dat", "targetType": 5}, {"kind": "activex"}]})");
  EXPECT_EQ(document.IdJson(), "\"x\"");
  ASSERT_TRUE(document.Target().IsTargetInfoProcess());
  const auto& process = static_cast<const CkxTargetInfoProcess&>(document.Target());

  EXPECT_EQ(Text(process.GetPath()), "C:\\Dir\\app.exe");
  EXPECT_EQ(process.TargetType(), EkxPolicyTarget::Executable);
  EXPECT_EQ(process.GetFileSize(), 1000);
  EXPECT_EQ(process.GetModificationTime(), 133000000000000000);
  EXPECT_EQ(Text(process.GetHashStringUsing(KXW("SHA1"))), "SHA1##9A");
  EXPECT_EQ(Text(process.GetHashStringUsing(KXW("SHA256"))), "SHA256##0F");
  EXPECT_EQ(Text(process.GetHashStringUsing(KXW("MD5"))), "null");
  EXPECT_EQ(Signer(process, false), "Vendör, 4");
  EXPECT_EQ(Signer(process, true), "null, 2");
  EXPECT_EQ(SidText(process.GetOwner()), "S-1-5-18");
  EXPECT_EQ(Text(process.GetOwnerDomainUserName()), "NT AUTHORITY\\SYSTEM");
  EXPECT_EQ(Text(process.GetVersionStr()), "1.2.3.4");
  EXPECT_EQ(Text(process.GetVersionInfo(KXW("CompanyName"))), "Vendor");
  EXPECT_EQ(Text(process.GetProductVersionStr()), "1.2");
  EXPECT_EQ(Text(process.GetMsiProperty(KXW("ProductVersion"))), "3.0.1");
  EXPECT_EQ(process.Pid(), 4711u);
  EXPECT_EQ(Text(process.CommandLine()), "app.exe /q");
  EXPECT_EQ(Text(process.ServiceNames()), "A/B");

  const CkxAccessToken* const token = CkxAccessToken::FromHandle(process.UserToken());
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->User().ToUtf8(), "S-1-5-21-1-2-3-1001");
  ASSERT_EQ(token->Groups().size(), 1u);
  EXPECT_EQ(token->Groups()[0].ToUtf8(), "S-1-5-32-545");
  EXPECT_TRUE(token->IsAdministrator());

  EXPECT_EQ(document.Machine().DriveType(KXW('C')), EkxDriveType::Fixed);
  EXPECT_EQ(document.Machine().DriveType(KXW('D')), EkxDriveType::Cdrom);
  EXPECT_EQ(document.Machine().DriveType(KXW('E')), EkxDriveType::Unknown);
  EXPECT_EQ(document.Machine().MappedShare(KXW('H')), KXW("\\\\server\\share"));
  EXPECT_EQ(document.Machine().MappedShare(KXW('C')), std::nullopt);

  ASSERT_NE(process.Parent(), nullptr);
  EXPECT_FALSE(process.Parent()->IsTargetInfoProcess());
  EXPECT_EQ(CkxAccessToken::FromHandle(process.Parent()->UserToken())->User().ToUtf8(), "S-1-5-18");
  const CkxTargetInfoFile* const package = process.LinkedOfType(EkxPolicyTarget::Msi);
  ASSERT_NE(package, nullptr) << "the type that the document says";
  EXPECT_EQ(&process.GetEffectiveTarget(), package);
  EXPECT_EQ(package->UserToken(), process.UserToken()) << "what has no user of its own has the process's";
}

TEST(TargetDocument, WhatIsNoMereFileHasFactsOfItsOwn) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(R"({
    "kind": "process", "path": "C:\\host.exe",
    "appPackage": {"name": "Vendor.App", "version": "1.2.3.4", "capabilities": ["internetClient", "webcam"]},
    "linked": [
      {"kind": "activex", "path": "C:\\a.ocx", "classId": "{C}", "sourceAddress": "https://vendor/a.cab"},
      {"kind": "uaccom", "path": "C:\\a.dll", "classId": "{D}", "sourceAddress": "of no use here"},
      {"kind": "file", "path": "C:\\a.msix", "targetType": 20, "appPackage": {}}]})");
  const auto& process = static_cast<const CkxTargetInfoProcess&>(document.Target());
  ASSERT_NE(process.AppPackage(), nullptr);
  EXPECT_EQ(KxText_ToUtf8(process.AppPackage()->name), "Vendor.App");
  EXPECT_EQ(KxText_ToUtf8(process.AppPackage()->version), "1.2.3.4");
  EXPECT_EQ(process.AppPackage()->capabilities, (std::vector<KxWString>{KXW("internetClient"), KXW("webcam")}));

  const auto& control = static_cast<const CkxTargetInfoActiveX&>(process.GetEffectiveTarget());
  ASSERT_TRUE(control.IsTargetInfoActiveX());
  EXPECT_EQ(KxText_ToUtf8(control.ClassId()), "{C}");
  EXPECT_EQ(KxText_ToUtf8(control.SourceAddress()), "https://vendor/a.cab");

  const CkxTargetInfoFile* const package = process.LinkedOfType(EkxPolicyTarget::AppPackage);
  ASSERT_TRUE(package != nullptr && package->AppPackage() != nullptr) << "known, but nothing of it";
  EXPECT_TRUE(package->AppPackage()->name.empty() && package->AppPackage()->capabilities.empty());
  EXPECT_TRUE(process.AppPackage()->capabilitiesKnown && !package->AppPackage()->capabilitiesKnown);

  const CkxTargetDocument component = CkxTargetDocument::Parse(R"({"kind": "uaccom", "classId": "{D}"})");
  EXPECT_EQ(KxText_ToUtf8(static_cast<const CkxTargetInfoUacCOM&>(component.Target()).ClassId()), "{D}");
}

TEST(TargetDocument, WhatIsNotGivenIsNotThere) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(R"({"kind": "file"})");
  ASSERT_TRUE(document.Target().IsTargetInfoFile());
  const auto& file = static_cast<const CkxTargetInfoFile&>(document.Target());
  EXPECT_EQ(document.IdJson(), "null");
  EXPECT_EQ(Text(file.GetPath()), "");
  EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Invalid);
  EXPECT_EQ(Signer(file, false), "null, 0");
  EXPECT_EQ(Text(file.GetOwnerDomainUserName()), "null");
  EXPECT_TRUE(file.GetVersion().IsEmpty());
  EXPECT_EQ(Text(file.GetVersionInfo(KXW("CompanyName"))), "null");
  EXPECT_EQ(file.AppPackage(), nullptr);
  EXPECT_NE(file.UserToken(), nullptr) << "which would be whoever asks";
  EXPECT_FALSE(KxUserScope_Contains(KXW("D:(A;;CC;;;WD)(A;;CC;;;S-1-0-0)"), file.UserToken()));
  EXPECT_FALSE(KxToken_IsAdministrator(file.UserToken()));
}

TEST(TargetDocument, KindsAndUsers) {
  const struct {
    const char* text;
    bool (CkxTargetInfo::*is)() const;
    EkxPolicyTarget type;
    const char* id;
  } kCases[] = {
      {R"({"kind": "file", "path": "a.msi", "id": 1.50})", &CkxTargetInfo::IsTargetInfoFile, EkxPolicyTarget::Msi,
       "1.5"},
      {R"({"kind": "file", "path": "a.msi", "targetType": 3, "id": null})", &CkxTargetInfo::IsTargetInfoFile,
       EkxPolicyTarget::Executable, "null"},
      {R"({"kind": "process", "path": "a.msi"})", &CkxTargetInfo::IsTargetInfoProcess, EkxPolicyTarget::Executable,
       "null"},
      {R"({"kind": "process", "path": "a.dat", "targetType": 5})", &CkxTargetInfo::IsTargetInfoProcess,
       EkxPolicyTarget::Msi, "null"},
      {R"({"kind": "activex", "targetType": 3})", &CkxTargetInfo::IsTargetInfoActiveX, EkxPolicyTarget::Executable,
       "null"},
      {R"({"kind": "uaccom", "targetType": 21})", &CkxTargetInfo::IsTargetInfoUacCOM, EkxPolicyTarget::Dll, "null"},
      {R"({"kind": "elevator", "request": {"kind": 2}, "targetType": 6})", &CkxTargetInfo::IsTargetInfoElevator,
       EkxPolicyTarget::Msu, "null"},
      {R"({"kind": "activex", "id": [{"a": "\u00e4"}]})", &CkxTargetInfo::IsTargetInfoActiveX, EkxPolicyTarget::ActiveX,
       "[{\"a\":\"ä\"}]"},
      {R"({"kind": "uaccom", "id": false})", &CkxTargetInfo::IsTargetInfoUacCOM, EkxPolicyTarget::Com, "false"},
      {R"({"kind": "elevator", "request": {"kind": 2, "url": "https://a"}})", &CkxTargetInfo::IsTargetInfoElevator,
       EkxPolicyTarget::Url, "null"},
  };
  const std::optional<CkxSid> other = CkxSid::FromUtf8("S-1-5-18");
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.text);
    const CkxTargetDocument document = CkxTargetDocument::Parse(test.text, other);
    EXPECT_TRUE((document.Target().*test.is)());
    EXPECT_EQ(document.Target().TargetType(), test.type);
    EXPECT_EQ(document.IdJson(), test.id);
    EXPECT_EQ(CkxAccessToken::FromHandle(document.Target().UserToken())->User().ToUtf8(), "S-1-5-18");
  }
  const CkxTargetDocument request = CkxTargetDocument::Parse(std::end(kCases)[-1].text);
  EXPECT_EQ(static_cast<const CkxTargetInfoElevator&>(request.Target()).RequestKind(), 2u);
  EXPECT_EQ(Text(static_cast<const CkxTargetInfoElevator&>(request.Target()).Url()), "https://a");

  const CkxTargetDocument replaced =
      CkxTargetDocument::Parse(R"({"kind": "file", "user": {"sid": "S-1-5-19", "admin": true}})", other);
  const CkxAccessToken* const token = CkxAccessToken::FromHandle(replaced.Target().UserToken());
  EXPECT_EQ(token->User().ToUtf8(), "S-1-5-18");
  EXPECT_FALSE(token->IsAdministrator()) << "it is another user's";
}

TEST(TargetDocument, NothingIsReadFromThisMachine) {
  // A file that is here, under the name that the document gives.
  const std::string here = nlohmann::json(__FILE__).dump();
  const CkxTargetDocument document = CkxTargetDocument::Parse("{\"kind\": \"file\", \"path\": " + here + "}");
  const auto& file = static_cast<const CkxTargetInfoFile&>(document.Target());
  EXPECT_EQ(file.GetFileSize(), -1);
  EXPECT_EQ(file.GetModificationTime(), 0);
  EXPECT_EQ(SidText(file.GetOwner()), "null");
  EXPECT_EQ(Text(file.GetHashStringUsing(KXW("SHA256"))), "null");

  const CkxTargetDocument drive = CkxTargetDocument::Parse(R"({"kind": "file", "path": "C:\\a.exe"})");
  const CkxMachineFactsScope machine(drive.Machine());
  EXPECT_EQ(Text(KxUtil_GetFileLocationType(nullptr, KXW("C:\\a.exe"))), "UNKNOWN");
}

std::string FaultOf(const std::string& text) {
  try {
    CkxTargetDocument::Parse(text);
    return "none";
  } catch (const CkxDocumentFault& fault) {
    return fault.Line();
  }
}

TEST(TargetDocument, FaultsNameTheirPlace) {
  const struct {
    const char* members;  // beside "kind": "process"
    const char* line;     // or what it begins with
  } kCases[] = {
      {R"("paht": "a")", "/paht: unknown key"},
      {R"("a/b~": 1)", "/a~1b~0: unknown key"},
      {R"("path": 7)", "/path: must be a text"},
      {R"("path": "a\u0000b")", "/path: must not have a NUL inside"},
      {R"("targetType": -1)", "/targetType: must be a whole number from 0 to 4294967295"},
      {R"("targetType": 4294967296)", "/targetType: must be a whole number"},
      {R"("targetType": 3.0)", "/targetType: must be a whole number"},
      {R"("size": -1)", "/size: must not be negative"},
      {R"("size": 9223372036854775808)", "/size: must be a whole number"},
      {R"("size": "1000")", "/size: must be a whole number"},
      {R"("modified": null)", "/modified: must be a whole number"},
      {R"("hashes": [])", "/hashes: must be an object"},
      {R"("hashes": {"CRC": "00"})", "/hashes/CRC: \"CRC\" is no hash algorithm"},
      {R"("hashes": {"SHA1": "0G"})", "/hashes/SHA1: is not hexadecimal"},
      {R"("hashes": {"SHA1": ""})", "/hashes/SHA1: is not hexadecimal"},
      {R"("signers": {})", "/signers: must be an array"},
      {R"("signers": [{}, {}, {}])", "/signers/2: a file has at most two signers"},
      {R"("signers": [{"status": 9}])", "/signers/0/status: must be 0 to 8, or one of unknown, system, "},
      {R"("signers": [{"status": "Valid"}])", "/signers/0/status: must be 0 to 8, or one of "},
      {R"("signers": [{"status": null}])", "/signers/0/status: must be a whole number"},
      {R"("fileVersion": "banana")", "/fileVersion: is no version"},
      {R"("fileVersion": "1.2.")", "/fileVersion: is no version"},
      {R"("fileVersion": "1.2.3.65536")", "/fileVersion: is no version"},
      {R"("fileVersion": "1.2.3.4.5")", "/fileVersion: is no version"},
      {R"("fileVersion": "1.2 build.1")", "/fileVersion: is no version"},
      {R"("appPackage": {"version": "v1"})", "/appPackage/version: is no version"},
      {R"("signers": [{}, {"nam": ""}])", "/signers/1/nam: unknown key"},
      {R"("owner": "SYSTEM")", "/owner: \"SYSTEM\" is no SID"},
      {R"("versionInfo": {"CompanyName": 1})", "/versionInfo/CompanyName: must be a text"},
      {R"("msi": {"a/b": null})", "/msi/a~1b: must be a text"},
      {R"("drives": {"C:": "FIXED"})", "/drives/C:: \"C:\" is no drive letter"},
      {R"("drives": {"1": "FIXED"})", "/drives/1: \"1\" is no drive letter"},
      {R"("drives": {"C": "Fixed"})", "/drives/C: \"Fixed\" is no drive type"},
      {R"("mappedDrives": {"H": "C:\\"})", "/mappedDrives/H: must be a \\\\server\\share"},
      {R"("user": "S-1-5-18")", "/user: must be an object"},
      {R"("user": {})", "/user: \"sid\" is missing"},
      {R"("user": {"sid": "S-1-5-18", "groups": ["S-1-5-32-544", "S-1"]})", "/user/groups/1: \"S-1\" is no SID"},
      {R"("user": {"sid": "S-1-5-18", "admin": 1})", "/user/admin: must be true or false"},
      {R"("user": {"sid": "S-1-5-18", "name": ""})", "/user/name: unknown key"},
      {R"("pid": 4294967296)", "/pid: must be a whole number"},
      {R"("parent": [])", "/parent: must be an object"},
      {R"("parent": {})", "/parent: \"kind\" is missing"},
      {R"("parent": {"kind": "file", "drives": {}})", "/parent/drives: unknown key"},
      {R"("linked": [{"kind": "file"}, {"kind": "files"}])", "/linked/1/kind: \"files\" is not \"file\""},
      {R"("parent": {"kind": "process", "linked": [{"kind": "file", "size": ""}]})",
       "/parent/linked/0/size: must be a whole number"},
      {R"("classId": 1)", "/classId: must be a text"},
      {R"("sourceAddress": ["https://a"])", "/sourceAddress: must be a text"},
      {R"("appPackage": "Vendor.App")", "/appPackage: must be an object"},
      {R"("appPackage": {"name": null})", "/appPackage/name: must be a text"},
      {R"("appPackage": {"version": 1.2})", "/appPackage/version: must be a text"},
      {R"("appPackage": {"capabilities": {}})", "/appPackage/capabilities: must be an array"},
      {R"("appPackage": {"capabilities": ["webcam", 1]})", "/appPackage/capabilities/1: must be a text"},
      {R"("appPackage": {"publisher": "Vendor"})", "/appPackage/publisher: unknown key"},
      {R"("request": {"kind": "2"})", "/request/kind: must be a whole number"},
      {R"("kind": "file")", "/kind: the key is there twice"},
  };
  for (const auto& test : kCases) {
    EXPECT_THAT(FaultOf(std::string("{\"kind\": \"process\", ") + test.members + "}"), testing::StartsWith(test.line));
  }
  for (const char* const version : {"", "1", "1.2", "1.2.3.65535", "10.0.17763.1 (WinBuild.160101.0800)"}) {
    EXPECT_EQ(FaultOf(std::string(R"({"kind": "process", "fileVersion": ")") + version + "\"}"), "none") << version;
  }
  EXPECT_EQ(FaultOf("{\"kind\": \"process\"}"), "none");
  EXPECT_EQ(FaultOf("{}"), "\"kind\" is missing");
  EXPECT_EQ(FaultOf("[]"), "must be an object");
  EXPECT_THAT(FaultOf("{\"kind\": \"file\"} /* no comments in a record */"),
              testing::StartsWith("line 1, column 18: "));
}

std::string Generations(size_t parents) {
  std::string text;
  for (size_t i = 0; i < parents; ++i) text += R"({"kind":"process","pid":)" + std::to_string(i) + R"(,"parent":)";
  return text + R"({"kind":"process","pid":)" + std::to_string(parents) + "}" + std::string(parents, '}');
}

TEST(TargetDocument, NestsToALimit) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(Generations(63));
  const CkxTargetInfo* target = &document.Target();
  for (uint32_t pid = 0; pid <= 63; ++pid) {
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(static_cast<const CkxTargetInfoProcess*>(target)->Pid(), pid);
    target = static_cast<const CkxTargetInfoProcess*>(target)->Parent();
  }
  EXPECT_EQ(target, nullptr);

  std::string pointer;
  for (int i = 0; i < 64; ++i) pointer += "/parent";
  EXPECT_EQ(FaultOf(Generations(64)), pointer + ": nested too deeply");
  // JSON that came from elsewhere has not met the limit on documents.
  EXPECT_NO_THROW(CkxTargetDocument::FromJson(nlohmann::json::parse(Generations(64))));
  EXPECT_THROW(CkxTargetDocument::FromJson(nlohmann::json::parse(Generations(65))), CkxDocumentFault);
}

}  // namespace
