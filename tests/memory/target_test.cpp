// Descriptions of files, and records of processes, tasks, tokens and groups, without memory.
#include <gtest/gtest.h>
#include <kx_util/file_origin.h>
#include <kx_util/kx_util.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/token_policy_data.h>

#include <cstring>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/target/pe_image.h"
#include "tests/memory/sweep.h"
#include "tests/support/temp_folder.h"

namespace {

using namespace kx_no_memory;

using File = const CkxTargetInfoFile&;

struct SkxLiveFact {
  const char* name;
  const WCHAR* (*ask)(File file);
};

void SweepFact(const KxWString& path, const SkxLiveFact& fact) {
  Sweep(
      fact.name,
      [&](Trial& trial) -> Answer {
        const CkxTargetInfoFile file(path.c_str(), nullptr);
        const WCHAR* const text = trial.During([&] { return fact.ask(file); });
        if (text == nullptr && trial.Fault() != EkxEvaluationFault::None) {
          EXPECT_EQ(fact.ask(file) != nullptr, fact.ask(CkxTargetInfoFile(path.c_str(), nullptr)) != nullptr)
              << "what could not be had for want of memory is not missing";
        }
        return text != nullptr ? Answer(KxText_ToUtf8(text)) : std::nullopt;
      },
      1);
}

TEST(NoMemory, FactsOfALiveFile) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("a program with a name of some length.exe", std::string(100000, 'x'));
  const SkxLiveFact facts[] = {
      {"SHA256", [](File file) { return file.GetHashStringUsing(KXW("sha256")); }},
      {"MD5", [](File file) { return file.GetHashStringUsing(KXW("MD5")); }},
      {"owner", [](File file) { return file.GetOwner() != nullptr ? KXW("known") : nullptr; }},
      {"owner's name", [](File file) { return file.GetOwnerDomainUserName(); }},
      {"size", [](File file) { return file.GetFileSize() == 100000 ? KXW("100000") : nullptr; }},
      {"time", [](File file) { return file.GetModificationTime() != 0 ? KXW("known") : nullptr; }},
      {"version", [](File file) { return file.GetVersionStr(); }},
      {"field", [](File file) { return file.GetVersionInfo(KXW("A field with a name that is longer than most")); }},
      {"description", [](File file) { return file.GetDescriptionForAlert(); }},
  };
  for (const SkxLiveFact& fact : facts) SweepFact(path, fact);
}

TEST(NoMemory, WhatALiveFileSaysOfItself) {
  const CkxTempFolder folder;
  const std::string manifest =
      "<assembly><trustInfo><security><requestedPrivileges><requestedExecutionLevel level=\"highestAvailable\"/>"
      "</requestedPrivileges></security></trustInfo></assembly>";
  const KxBytes bytes =
      KxTest_PeImage(kTestPe32, CkxRecordBytes().Append({manifest.begin(), manifest.end()}), 24).Bytes();
  const KxWString program = folder.Write("program.exe", std::string(bytes.begin(), bytes.end()));
  const KxWString package = KXW("fuzz/corpus/msi_package_fuzz/package");
  const std::pair<KxWString, SkxLiveFact> facts[] = {
      {program, {"level", [](File file) { return file.GetRequestedExecutionLevel(); }}},
      {program, {"program", [](File file) { return file.Program() != nullptr ? KXW("known") : nullptr; }}},
      {package, {"property", [](File file) { return file.GetMsiProperty(KXW("ProductName")); }}},
      {package, {"summary", [](File file) { return file.GetMsiProperty(KXW("Summary.Author")); }}},
  };
  for (const auto& [path, fact] : facts) {
    EXPECT_NE(fact.ask(CkxTargetInfoFile(path.c_str(), nullptr)), nullptr) << fact.name;
    SweepFact(path, fact);
  }
}

TEST(NoMemory, ADescriptionThatCouldNotBeMadeIsNotEvaluated) {
  const CkxPolicySourceScope scope(Workstation());
  const KxWString path = KXW("C:\\Program Files\\A Folder With a Long Name\\a program that nobody knows.exe");
  Sweep("file", [&](Trial& trial) -> Answer {
    std::optional<CkxTargetInfoFile> file;
    trial.During([&] {
      file.emplace(path.c_str(), nullptr);
      return true;
    });
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NothingPublished;
    CkxSharedPoliciesData::GetTargetPolicyAction(*file, info, outcome);
    if (outcome == EkxEvaluationOutcome::NotAnswered) return std::nullopt;
    return KxText_ToUtf8(file->GetPath());
  });
  Sweep("consent", [&](Trial& trial) -> Answer {
    CkxConsentData consent;
    consent.path = path.c_str();
    consent.commandLine = path.c_str();
    const CkxTargetInfoPtr target(trial.During([&] { return CkxTargetInfo::CreateFromConsentData(consent, 7); }));
    return target != nullptr ? Answer(KxText_ToUtf8(target->QueryPathProvider()->GetPath())) : std::nullopt;
  });
}

TEST(NoMemory, RecordsOfProcessesTasksTokensAndGroups) {
  const CkxPolicySourceScope scope(Workstation());
  const KxWString path = KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe");
  const KxWString line = KXW("\"") + path + KXW("\" -File C:\\Scripts\\something\\that\\runs.ps1");
  const auto program = [&] {
    SkxFileFacts file;
    file.path = path;
    file.hashes = {{KXW("SHA256"), KxWString(64, KXW('0'))}};
    file.versionInfo = {{KXW("FileDescription"), KxWString(40, KXW('d'))}};
    SkxProcessFacts process;
    process.commandLine = line;
    return std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(process), nullptr);
  };
  const auto held = [](const CkxUtilStr& text) {
    return text.IsEmpty() ? Answer() : Answer(KxText_ToUtf8(text.View()));
  };
  const std::pair<const char*, Entry> entries[] = {
      {"a record of a process",
       [&](Trial& trial) {
         const auto process = program();
         CkxFileSrcProcess writer;
         const bool filled = trial.During([&] { return writer.Fill(*process); });
         EXPECT_EQ(writer.Facts().path.empty(), !filled) << "half a record";
         return YesOrNothing(filled);
       }},
      {"its command line",
       [&](Trial& trial) {
         const auto process = program();
         CkxFileSrcProcess writer;
         writer.Fill(*process);
         const KxWString text = trial.During([&] { return writer.CommandLine(); });
         return YesOrNothing(!text.empty());
       }},
      {"the provider's own hash",
       [&](Trial& trial) {
         const auto process = program();
         CkxUtilStr hash;
         trial.During([&] { return process->GetAlgorithmAndHashString(hash); });
         return held(hash);
       }},
      {"the script that a process was started for",
       [&](Trial& trial) {
         const auto process = program();
         CkxTargetInfoProcess* found = nullptr;
         return YesOrNothing(
             trial.During([&] { return KxUtil_GetProcTargetOfType(*process, EkxPolicyTarget::Script, found); }));
       }},
      {"a token's text",
       [&](Trial& trial) {
         CkxUtilStr text;
         trial.During([&] {
           SkxTokenPolicyData(true, 7, SkxTriggerPolicyShortInfo()).GetDebugString(text);
           return true;
         });
         return held(text);
       }},
      {"a mapped path",
       [&](Trial& trial) -> Answer {
         const WCHAR* text = trial.During([&] { return CkxTargetInfo::_MappedPathToUncStrDup(nullptr, path.c_str()); });
         const Answer answer = text != nullptr ? Answer(KxText_ToUtf8(text)) : std::nullopt;
         CkxTargetInfo::_Free(text);
         return answer;
       }},
      {"a linked target that was lost",
       [&](Trial& trial) {
         const auto process = program();
         CkxTargetInfoPtr package(new CkxTargetInfoFile(KXW("C:\\a.msi"), nullptr));
         trial.During([&] {
           process->AddLinked(std::move(package));
           return true;
         });
         return YesOrNothing(!process->IsIncomplete());
       }},
      {"a group by its id",
       [&](Trial& trial) {
         GUID id{};
         const auto& groups = Workstation();
         SkxSectionBytes section;
         EXPECT_EQ(groups.OpenSection(EkxPolicySection::AppGroups, section), EkxSectionState::Open);
         std::memcpy(&id, section.bytes.data() + 12, sizeof(id));
         CkxShBufAppGroup* group = nullptr;
         const bool found = trial.During([&] { return CkxSharedPoliciesData::GetAppGroupById(id, group); });
         CkxShBufAppGroup::Release(group);
         return YesOrNothing(found);
       }},
  };
  for (const auto& [name, entry] : entries) Sweep(name, entry, 1);
}

}  // namespace
