// What descriptions of recorded things answer, beside what tests/data/decisions says of their policies.
#include <kx_util/target_info_process.h>

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

using Text = std::optional<std::string>;

Text Utf8(const WCHAR* text) { return text != nullptr ? Text(KxText_ToUtf8(text)) : std::nullopt; }

const CkxTargetInfoFile& File(const CkxTargetInfo& target) { return dynamic_cast<const CkxTargetInfoFile&>(target); }

/// "NAME STATUS", the name "-" where there is none.
std::string Signer(const CkxTargetInfo& target, bool second) {
  EkxPublisherStatus status = EkxPublisherStatus::Revoked;
  const WCHAR* const name = target.QueryPublisherProvider()->GetPublisher(second, status);
  return Utf8(name).value_or("-") + " " + std::to_string(static_cast<unsigned>(status));
}

Text BestHash(const CkxTargetInfo& target) {
  CkxUtilStr algorithm, hash, both;
  const bool known = target.QueryHashProvider()->GetHash(algorithm, hash);
  EXPECT_EQ(target.QueryHashProvider()->GetAlgorithmAndHashString(both), known);
  if (!known) return std::nullopt;
  EXPECT_EQ(KxText_ToUtf8(both.View()), KxText_ToUtf8(algorithm.View()) + "##" + KxText_ToUtf8(hash.View()));
  return KxText_ToUtf8(both.View());
}

/// Which kinds a target says that it is of: elevator, ActiveX, file, process, UAC-COM.
std::string Kinds(const CkxTargetInfo& t) {
  return std::string(t.IsTargetInfoElevator() ? "E" : "") + (t.IsTargetInfoActiveX() ? "A" : "") +
         (t.IsTargetInfoFile() ? "F" : "") + (t.IsTargetInfoProcess() ? "P" : "") + (t.IsTargetInfoUacCOM() ? "C" : "");
}

/// Path, hash, publisher, owner, version information.
std::string Providers(const CkxTargetInfo& t) {
  EXPECT_EQ(static_cast<const IkxPathProvider*>(t.QueryHashProvider()), t.QueryPathProvider());
  return std::string(t.QueryPathProvider() ? "P" : "") + (t.QueryHashProvider() ? "H" : "") +
         (t.QueryPublisherProvider() ? "S" : "") + (t.QueryOwnerProvider() ? "O" : "") +
         (t.QueryVersionInfoProvider() ? "V" : "");
}

using Target = const CkxTargetInfo&;
using Field = const WCHAR*;

const std::map<std::string, Text (*)(Target target, Field field)> kQuestions = {
    {"type", [](Target t, Field) -> Text { return std::to_string(static_cast<unsigned>(t.TargetType())); }},
    {"kinds", [](Target t, Field) -> Text { return Kinds(t); }},
    {"providers", [](Target t, Field) -> Text { return Providers(t); }},
    {"alert", [](Target t, Field) { return Utf8(t.GetDescriptionForAlert()); }},
    {"event", [](Target t, Field) { return Utf8(t.GetDescriptionForEvent()); }},
    {"path", [](Target t, Field) { return Utf8(t.QueryPathProvider()->GetPath()); }},
    {"size", [](Target t, Field) -> Text { return std::to_string(File(t).GetFileSize()); }},
    {"modified", [](Target t, Field) -> Text { return std::to_string(File(t).GetModificationTime()); }},
    {"hash", [](Target t, Field name) { return Utf8(t.QueryHashProvider()->GetHashStringUsing(name)); }},
    {"best hash", [](Target t, Field) { return BestHash(t); }},
    {"signer", [](Target t, Field) -> Text { return Signer(t, false); }},
    {"second signer", [](Target t, Field) -> Text { return Signer(t, true); }},
    {"owner", [](Target t, Field) { return File(t).GetOwner() ? Text(File(t).GetOwner()->ToUtf8()) : std::nullopt; }},
    {"owner's name", [](Target t, Field) { return Utf8(File(t).GetOwnerDomainUserName()); }},
    {"version", [](Target t, Field) { return Utf8(File(t).GetVersionStr()); }},
    {"field", [](Target t, Field name) { return Utf8(File(t).GetVersionInfo(name)); }},
    {"product version", [](Target t, Field) { return Utf8(File(t).GetProductVersionStr()); }},
    {"product", [](Target t, Field) { return Utf8(File(t).GetProductName()); }},
    {"description", [](Target t, Field) { return Utf8(File(t).GetEmbeddedDescription()); }},
    {"msi", [](Target t, Field name) { return Utf8(File(t).GetMsiProperty(name)); }},
};

TEST(Descriptions, AnswerAsRecorded) {
  for (const CkxDataRow& row : KxTest_Rows("target/descriptions.txt")) {
    SCOPED_TRACE(row.At());
    row.RequireCount(3);
    const CkxTargetDocument document = CkxTargetDocument::FromJson(row.Fields()[1]);
    for (int again = 0; again < 2; ++again) {  // computed, then kept
      for (const auto& [question, answer] : row.Fields()[2].items()) {
        const size_t colon = std::min(question.find(": "), question.size());
        const KxWString field = *KxText_FromUtf8(question.substr(std::min(colon + 2, question.size())));
        const Text found = kQuestions.at(question.substr(0, colon))(document.Target(), field.c_str());
        EXPECT_EQ(found ? nlohmann::json(*found) : nlohmann::json(), answer) << question;
      }
    }
  }
}

TEST(Descriptions, CarryOthers) {
  KxTest_ForRows<std::string, std::string, uint64_t, Text, Text>(
      "target/carried.txt", [](const auto&, const auto& text, uint64_t number, const auto& file, const auto& process) {
        const CkxTargetDocument document = CkxTargetDocument::Parse(text);
        const CkxMachineFactsScope machine(document.Machine());
        const auto type = static_cast<EkxPolicyTarget>(number);
        const auto path = [](const auto* found) { return found != nullptr ? Utf8(found->GetPath()) : std::nullopt; };
        CkxTargetInfoProcess untouched(SkxFileFacts(), SkxProcessFacts(), nullptr);
        CkxTargetInfoFile* foundFile = &untouched;
        CkxTargetInfoProcess* foundProcess = &untouched;
        EXPECT_EQ(KxUtil_GetFileProcTargetsOfType(document.Target(), type, foundFile, foundProcess), file.has_value());
        EXPECT_EQ(path(foundFile), file);
        EXPECT_EQ(path(foundProcess), process);
        foundProcess = &untouched;
        EXPECT_EQ(KxUtil_GetProcTargetOfType(document.Target(), type, foundProcess), process.has_value());
        EXPECT_EQ(path(foundProcess), process);
      });
}

}  // namespace
