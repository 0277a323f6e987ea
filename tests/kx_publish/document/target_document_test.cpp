#include "Agent/engine/kx_publish/document/target_document.h"

#include <gmock/gmock.h>
#include <kx_util/kx_util.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <map>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

using nlohmann::json;

/// A text of the description; "null" for one that is not there.
std::string Text(const WCHAR* text) { return text != nullptr ? KxText_ToUtf8(text) : "null"; }

/// Those that no policy asks for, or not in these words; the others decide in tests/data/decisions.
TEST(TargetDocument, FactsReachTheDescription) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(R"({
    "id": "x", "kind": "process", "path": "C:\\Dir\\app.exe",
    "drives": {"C": "FIXED", "d": "CDROM"}, "mappedDrives": {"H": "\\\\server\\share"},
    "user": {"sid": "S-1-5-21-1-2-3-1001", "groups": ["S-1-5-32-545"], "admin": true}, "pid": 4711,
    "appPackage": {"name": "Vendor.App", "capabilities": ["webcam"]},
    "parent": {"kind": "file", "path": "C:\\explorer.exe", "user": {"sid": "S-1-5-18"}},
    "linked": [{"kind": "file", "path": "C:\\setup.dat", "targetType": 5},
               {"kind": "file", "path": "C:\\a.msix", "targetType": 20, "appPackage": {}}]})");
  EXPECT_EQ(document.IdJson(), "\"x\"");
  ASSERT_TRUE(document.Target().IsTargetInfoProcess());
  const auto& process = static_cast<const CkxTargetInfoProcess&>(document.Target());

  EXPECT_EQ(Text(process.GetPath()), "C:\\Dir\\app.exe");
  EXPECT_EQ(process.Pid(), 4711u);

  const CkxAccessToken* const token = CkxAccessToken::FromHandle(process.UserToken());
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->User().ToUtf8(), "S-1-5-21-1-2-3-1001");
  ASSERT_EQ(token->Groups().size(), 1u);
  EXPECT_EQ(token->Groups()[0].ToUtf8(), "S-1-5-32-545");
  EXPECT_TRUE(token->IsAdministrator());

  EXPECT_EQ(document.Machine().DriveType(KXW('D')), EkxDriveType::Cdrom);
  EXPECT_EQ(document.Machine().DriveType(KXW('E')), EkxDriveType::Unknown);
  EXPECT_EQ(document.Machine().MappedShare(KXW('H')), KXW("\\\\server\\share"));
  EXPECT_EQ(document.Machine().MappedShare(KXW('C')), std::nullopt);

  ASSERT_NE(process.Parent(), nullptr);
  EXPECT_FALSE(process.Parent()->IsTargetInfoProcess());
  EXPECT_EQ(CkxAccessToken::FromHandle(process.Parent()->UserToken())->User().ToUtf8(), "S-1-5-18");
  const CkxTargetInfoFile* const installer = process.LinkedOfType(EkxPolicyTarget::Msi);
  ASSERT_NE(installer, nullptr) << "the type that the document says";
  EXPECT_EQ(&process.GetEffectiveTarget(), installer);
  EXPECT_EQ(installer->UserToken(), process.UserToken()) << "what has no user of its own has the process's";
  const CkxTargetInfoFile* const package = process.LinkedOfType(EkxPolicyTarget::AppPackage);
  ASSERT_TRUE(package != nullptr && package->AppPackage() != nullptr) << "known, but nothing of it";
  EXPECT_TRUE(process.AppPackage()->capabilitiesKnown && !package->AppPackage()->capabilitiesKnown);
}

TEST(TargetDocument, WhatIsNotGivenIsNotThere) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(R"({"kind": "file"})");
  ASSERT_TRUE(document.Target().IsTargetInfoFile());
  const auto& file = static_cast<const CkxTargetInfoFile&>(document.Target());
  EXPECT_EQ(document.IdJson(), "null");
  EXPECT_EQ(Text(file.GetPath()), "");
  EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Invalid);
  EXPECT_TRUE(file.GetVersion().IsEmpty());
  EXPECT_EQ(file.AppPackage(), nullptr);
  EXPECT_NE(file.UserToken(), nullptr) << "which would be whoever asks";
  EXPECT_FALSE(KxUserScope_Contains(KXW("D:(A;;CC;;;WD)(A;;CC;;;S-1-0-0)"), file.UserToken()));
  EXPECT_FALSE(KxToken_IsAdministrator(file.UserToken()));
}

TEST(TargetDocument, KindsAndUsers) {
  const std::map<std::string, bool (CkxTargetInfo::*)() const> kinds = {
      {"file", &CkxTargetInfo::IsTargetInfoFile},         {"process", &CkxTargetInfo::IsTargetInfoProcess},
      {"activex", &CkxTargetInfo::IsTargetInfoActiveX},   {"uaccom", &CkxTargetInfo::IsTargetInfoUacCOM},
      {"elevator", &CkxTargetInfo::IsTargetInfoElevator},
  };
  const std::optional<CkxSid> other = CkxSid::FromUtf8("S-1-5-18");
  KxTest_ForRows<json, uint64_t, std::string>("documents/target_kinds.txt", [&](auto& text, auto type, auto& id) {
    const CkxTargetDocument document = CkxTargetDocument::Parse(text.dump(), other);
    EXPECT_TRUE((document.Target().*kinds.at(text["kind"]))());
    EXPECT_EQ(static_cast<uint64_t>(document.Target().TargetType()), type);
    EXPECT_EQ(document.IdJson(), id);
    EXPECT_EQ(CkxAccessToken::FromHandle(document.Target().UserToken())->User().ToUtf8(), "S-1-5-18");
  });
  const CkxTargetDocument request =
      CkxTargetDocument::Parse(R"({"kind": "elevator", "request": {"kind": 2, "url": "https://a"}})");
  EXPECT_EQ(static_cast<const CkxTargetInfoElevator&>(request.Target()).RequestKind(), 2u);
  EXPECT_EQ(Text(static_cast<const CkxTargetInfoElevator&>(request.Target()).Url()), "https://a");

  const CkxTargetDocument replaced =
      CkxTargetDocument::Parse(R"({"kind": "file", "user": {"sid": "S-1-5-19", "admin": true}})", other);
  const CkxAccessToken* const token = CkxAccessToken::FromHandle(replaced.Target().UserToken());
  EXPECT_EQ(token->User().ToUtf8(), "S-1-5-18");
  EXPECT_FALSE(token->IsAdministrator()) << "it is another user's";
}

TEST(TargetDocument, NothingIsReadFromThisMachine) {
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
  KxTest_ForRows<json, std::string>("documents/target_faults.txt", [](auto& document, auto& line) {
    if (document.is_object() && !document.contains("kind")) document["kind"] = "process";
    EXPECT_THAT(FaultOf(document.is_string() ? std::string(document) : document.dump()), testing::StartsWith(line));
  });
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
  EXPECT_NO_THROW(CkxTargetDocument::FromJson(json::parse(Generations(64))));
  EXPECT_THROW(CkxTargetDocument::FromJson(json::parse(Generations(65))), CkxDocumentFault);
}

}  // namespace
