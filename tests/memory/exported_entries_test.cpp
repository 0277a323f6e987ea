// What callers reach holds when there is no memory: each entry is called with each of its allocations failing in turn,
// once and for good. Nothing is thrown, nothing leaks, and the answer is the right one, or false with the fault noted.
#include <gtest/gtest.h>
#include <kx_util/drv_xml_data.h>
#include <kx_util/evaluation_observer.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/file_origin.h>
#include <kx_util/kx_util.h>
#include <kx_util/proc_map.h>
#include <kx_util/shared_configuration.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/src_email_data.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/token_policy_data.h>

#include <cstring>
#include <functional>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_util/process_map/process_table.h"
#include "Agent/engine/kx_util/regexp/compiled_expressions.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/token_security_attributes/token_security_attributes.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/target/pe_image.h"
#include "tests/memory/failing_memory.h"
#include "tests/support/ea_folder.h"
#include "tests/support/fake_token_attributes.h"
#include "tests/support/policy_questions.h"
#include "tests/support/recorded_proc_map_system.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"
#include "tests/support/workstation_image.h"

namespace {

/// What an entry answered, as text; nothing for the answer of a fault (false, null, unknown).
using Answer = std::optional<std::string>;

/// One call of an entry that may run out of memory, and the fault that it ended with.
class Trial {
 public:
  Trial(size_t failAt, bool forGood) : _memory(failAt, forGood) {}

  template <class Call>
  auto During(Call call) {
    auto answer = _memory.During(call);
    _fault = KxUtil_LastFault();
    return answer;
  }
  EkxEvaluationFault Fault() const { return _fault; }

 private:
  CkxFailingMemory _memory;
  EkxEvaluationFault _fault = EkxEvaluationFault::None;
};

/// Prepares a call with all the memory there is, makes it under `trial`, and says what it answered. Prepared anew for
/// each call, since descriptions remember.
using Entry = std::function<Answer(Trial& trial)>;

void Sweep(const std::string& name, const Entry& entry, size_t leastAllocations = 0) {
  SCOPED_TRACE(name);
  Trial enough(CkxFailingMemory::kNever, false);
  const auto ask = [&](Trial& trial) {
    KxExpression_ForgetAll();  // or what one call kept would be memory that the next one need not ask for
    return entry(trial);
  };
  const Answer right = ask(enough);
  const size_t count = CkxFailingMemory::Count();
  EXPECT_GE(count, leastAllocations) << "there is nothing to sweep";
  for (const bool forGood : {false, true}) {
    for (size_t failAt = 0; failAt < count; ++failAt) {
      KxExpression_ForgetAll();
      const long before = CkxFailingMemory::Live();
      Answer answer;
      EkxEvaluationFault fault = EkxEvaluationFault::None;
      try {
        Trial trial(failAt, forGood);
        answer = ask(trial);
        KxExpression_ForgetAll();
        fault = trial.Fault();
      } catch (const std::bad_alloc&) {
        FAIL() << "threw at allocation " << failAt << " of " << count;
      }
      const long held = answer ? 1 : 0;  // at most: a long text
      ASSERT_LE(CkxFailingMemory::Live() - before, held) << "leaked at allocation " << failAt;
      if (answer == right) continue;
      ASSERT_EQ(answer, std::nullopt) << "a wrong answer at allocation " << failAt << " of " << count;
      ASSERT_EQ(fault, EkxEvaluationFault::OutOfMemory) << "false without a fault at allocation " << failAt;
    }
  }
}

Answer YesOrNothing(bool yes) { return yes ? Answer("yes") : std::nullopt; }

const CkxImageSource& Workstation() {
  static const CkxImageSource* const source = new CkxImageSource(KxEncode_Image(KxTest_Workstation()));
  return *source;
}

/// What `ask` answers about each `step`-th thing of the example.
void SweepTargets(const std::string& name, size_t step,
                  const std::function<Answer(Trial&, const CkxTargetInfo&)>& ask) {
  SCOPED_TRACE(name);
  const CkxPolicySourceScope scope(Workstation());
  std::ifstream lines(kKxTestWorkstationTargets, std::ios::binary);
  size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    if (number++ % step != 0) continue;
    Sweep(line, [&](Trial& trial) {
      const CkxTargetDocument target = CkxTargetDocument::Parse(line);
      const CkxMachineFactsScope machine(target.Machine());
      return ask(trial, target.Target());
    });
  }
  EXPECT_GT(number, 0u);
}

/// Watches each step and keeps none of it, so that what is put together for watchers is swept too.
class Watcher : public IkxEvaluationObserver {
 public:
  void OnCheckFailed(const char*, CkxTextView expected, CkxTextView actual) override {
    const std::string both = KxText_ToUtf8(expected) + KxText_ToUtf8(actual);
  }
  void OnTarget(const SkxObservedTarget&, bool) override {}
  void OnPolicy(const SkxObservedPolicy&, EkxPolicyOutcome) override {}
  void OnFault(std::string_view) override {}
};

Answer Evaluate(Trial& trial, const CkxTargetInfo& target) {
  SkxTriggerPolicyShortInfo info;
  if (!trial.During([&] { return CkxSharedPoliciesData::GetTargetPolicyAction(target, info); })) return std::nullopt;
  return std::to_string(info.PolicyId) + " " + std::to_string(info.PolicyTargetId.Data1);
}

TEST(NoMemory, AnEvaluationGivesTheRightPolicyOrAFault) { SweepTargets("evaluated", 1, Evaluate); }

TEST(NoMemory, AWatchedEvaluationToo) {
  Watcher watcher;
  const CkxEvaluationObserverScope watching(watcher);
  SweepTargets("watched", 3, Evaluate);
}

TEST(NoMemory, QuestionsAboutPolicies) {
  using Data = CkxSharedPoliciesData;
  using Target = const CkxTargetInfo&;
  std::map<std::string, KxTestQuestion> questions = KxTest_Questions();
  questions["KxToolsFolderEnabled"] = [](Target, void* token) -> uint32_t { return Data::KxToolsFolderEnabled(token); };
  questions["KxToolsFolderIsToolAllowed"] = [](Target, void* token) -> uint32_t {
    return Data::KxToolsFolderIsToolAllowed(3, token);
  };
  questions["GetCommonDialog"] = [](Target, void* token) -> uint32_t {
    CkxShBufCustGuiDialog* dialog = nullptr;
    if (!Data::GetCommonDialog(EkxAlertTrigger::ReplaceUacOfAdministrator, dialog, token)) return 0;
    dialog->Release();
    return 1;
  };
  questions["IsSoftwareDistributor"] = [](Target target, void*) -> uint32_t {
    if (!target.IsTargetInfoProcess()) return 0;
    CkxFileSrcProcess writer;
    CkxUtilStr name;
    return writer.Fill(static_cast<const CkxTargetInfoProcess&>(target)) &&
           Data::IsSoftwareDistributor(writer, name, nullptr) && Data::UpdateSoftwareDistributor(writer, nullptr);
  };
  questions["descriptions"] = [](Target target, void*) -> uint32_t {
    return target.GetDescriptionForAlert() != nullptr && target.GetDescriptionForEvent() != nullptr;
  };
  for (const auto& [name, ask] : questions) {
    SweepTargets(name, 5, [ask = ask](Trial& trial, Target target) {
      const uint32_t answer = trial.During([&] { return ask(target, target.UserToken()); });
      return answer != 0 ? Answer(std::to_string(answer)) : std::nullopt;
    });
  }
}

TEST(NoMemory, LookUpsAndDebugTexts) {
  const CkxPolicySourceScope scope(Workstation());
  std::vector<int> ids;
  ASSERT_TRUE(CkxSharedPoliciesData::GetPoliciesApplicableForUser(nullptr, ids));
  for (const int id : ids) {
    Sweep("policy " + std::to_string(id), [&](Trial& trial) -> Answer {
      CkxShBufPolicy* found = nullptr;
      KxBstr text = nullptr;
      const bool read = trial.During([&] {
        return CkxSharedPoliciesData::GetPolicyById(static_cast<uint32_t>(id), found) && found->GetDebugMessage(text);
      });
      const CkxShBufPolicyPtr owned(found);
      const Answer answer = read ? Answer(KxText_ToUtf8(text)) : std::nullopt;
      KxBstr_Free(text);
      return answer;
    });
    Sweep("alerts of policy " + std::to_string(id), [&](Trial& trial) -> Answer {
      CkxShBufPolicy* found = nullptr;
      if (!CkxSharedPoliciesData::GetPolicyById(static_cast<uint32_t>(id), found)) return std::nullopt;
      const CkxShBufPolicyPtr owned(found);
      for (uint32_t i = 0; i < owned->Alerts().Count(); ++i) {
        const SkxPolicyAlertLink link = owned->Alerts().GetAt(i);
        CkxShBufCustGuiBase* alert = nullptr;
        if (!trial.During([&] { return owned->GetAlert(link.trigger, link.type, alert); })) return std::nullopt;
        alert->Release();
      }
      return "read";
    });
  }
  Sweep("applicable policies", [](Trial& trial) {
    std::vector<int> some = {7};
    const bool told = trial.During([&] { return CkxSharedPoliciesData::GetPoliciesApplicableForUser(nullptr, some); });
    EXPECT_TRUE(told || some.size() == 1) << "half an answer";
    return YesOrNothing(told);
  });
}

TEST(NoMemory, Matchers) {
  const KxWString longText(200, KXW('a'));
  const KxWString path = KXW("C:\\Program Files\\Some Vendor of Programs\\A Program\\") + longText + KXW(".exe");
  const KxWString arguments = KXW("/first \"the second\" ") + longText;
  const KxWString line = KXW("\"") + path + KXW("\" ") + arguments;
  const struct {
    const char* name;
    std::function<bool()> match;
  } matchers[] = {
      {"expression", [&] { return KxUtil_MatchStr(KXW("(a|b)*a\\h+"), longText, false, EkxStrCompareAs::StrRegExp); }},
      {"back-reference",
       [&] { return KxUtil_MatchStr(KXW("{a}b*\\0a+"), longText, true, EkxStrCompareAs::StrRegExp); }},
      {"valid expression", [] { return KxUtil_IsValidRegExp(KXW("<{.*?}>[a-z]*(b|c)"), false); }},
      {"arguments as a list",
       [&] { return KxUtil_MatchCmdLineArguments(arguments, line, path, true, EkxStrCompareAs::StrEquals); }},
      {"arguments as a text",
       [&] { return KxUtil_MatchCmdLineArguments(KXW("/first*"), line, path, false, EkxStrCompareAs::StrWildcard); }},
  };
  for (const auto& matcher : matchers) {
    Sweep(
        matcher.name, [&](Trial& trial) { return YesOrNothing(trial.During(matcher.match)); }, 1);
  }
}

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

/// Whatever fails, a token has the stamp that it had or the one that it was to have, and keeps what others marked it
/// with.
TEST(NoMemory, TheStampOnAToken) {
  using Attributes = std::vector<SkxTokenAttribute>;
  CkxFakeTokenAttributes system;
  void* const ofSystem = reinterpret_cast<void*>(uintptr_t{0x1234});
  system.tokens[ofSystem];
  CkxAccessToken ours(*CkxSid::FromUtf8("S-1-5-18"), {}, true);
  SkxTriggerPolicyShortInfo info;
  info.PolicyId = 7;
  const CkxTokenPolicyData stamp(false, 4711, info);
  const SkxTokenAttribute before = CkxTokenPolicyData(true, 4712, info).ToAttribute(true, 10);
  const SkxTokenAttribute after = stamp.ToAttribute(false, 10);
  SkxTokenAttribute others = before;
  others.name = KXW("SOMEBODY://A mark of some length");
  const Attributes both = {others, before};
  const Attributes none;
  const auto listOf = [](void* token) {
    Attributes attributes;
    EXPECT_TRUE(CkxTokenSecurityAttributes::List(token, attributes));
    return attributes;
  };
  const auto clear = [&](void* token) {
    for (const SkxTokenAttribute& old : listOf(token)) CkxTokenSecurityAttributes::Delete(token, old.name);
  };
  struct TokenOperation {
    const char* name;
    std::function<bool(void* token)> call;
    Attributes begin, end;  ///< of the token
  };
  const std::vector<TokenOperation> operations = {
      {"set", [&](void* token) { return stamp.SetToToken(token, false); }, {others}, {others, after}},
      {"set again", [&](void* token) { return stamp.SetToToken(token, false); }, both, {others, after}},
      {"read",
       [](void* token) {
         CkxTokenPolicyData read;
         const bool isFound = read.GetFromToken(token);
         EXPECT_EQ(read.IsEmpty(), !isFound);
         return isFound && read.GetPid() == 4712;
       },
       both, both},
      {"delete", [](void* token) { return CkxTokenPolicyData::DeleteFromToken(token); }, both, {others}},
      {"list",
       [&](void* token) {
         Attributes attributes;
         const bool isDone = KxEntry(false, [&] { return CkxTokenSecurityAttributes::List(token, attributes); });
         EXPECT_EQ(attributes, isDone ? both : none);
         return isDone;
       },
       both, both},
  };
  for (void* const token : {ofSystem, ours.Handle()}) {
    for (const TokenOperation& operation : operations) {
      Sweep(
          operation.name + std::string(token == ofSystem ? ", of the system" : ", of ours"),
          [&](Trial& trial) {
            for (const SkxTokenAttribute& made : operation.begin) CkxTokenSecurityAttributes::Set(token, made);
            const bool isDone = trial.During([&] { return operation.call(token); });
            EXPECT_EQ(listOf(token), isDone ? operation.end : operation.begin);
            clear(token);
            return YesOrNothing(isDone);
          },
          1);
    }
  }
}

/// A publication that may be remembered by its name.
class RememberedConfiguration : public CkxImageSource {
 public:
  explicit RememberedConfiguration(SkxPolicyImage image) : CkxImageSource(std::move(image)) {}
  KxWString ContentName() const override { return name; }

  KxWString name;
};

TEST(NoMemory, SettingsAndMessages) {
  using Config = CkxSharedConfig;
  SkxPolicyModel policy;
  policy.action = EkxPolicyAction::Configuration;
  policy.id = 1;
  policy.params = SkxConfigurationParams{
      KXW("<Configuration><A x='an attribute of some length'>a value of some length</A><N>7</N></Configuration>"),
      KXW("<Messages><Message id='A message of some length' lang='en'>%1 &lt;$HOSTNAME&gt;</Message></Messages>")};
  SkxPublication publication;
  publication.policies.push_back(std::move(policy));
  RememberedConfiguration source(KxEncode_Image(publication));
  const CkxPolicySourceScope scope(source);
  CkxUtilStr text;
  const auto textOrNothing = [&](bool isFound) { return isFound ? Answer(KxText_ToUtf8(text.View())) : std::nullopt; };
  const std::pair<const char*, Entry> entries[] = {
      {"a text and its attribute",
       [](Trial& trial) {
         KxBstr value = nullptr;
         KxBstr attribute = nullptr;
         const bool isFound = trial.During(
             [&] { return Config::GetConfigValueAndAttribute(KXW("A"), value, KXW("x"), attribute, nullptr); });
         EXPECT_EQ(isFound, attribute != nullptr) << "half an answer";
         KxBstr_Free(value);
         KxBstr_Free(attribute);
         return YesOrNothing(isFound);
       }},
      {"a number",
       [](Trial& trial) {
         int value = 0;
         return YesOrNothing(trial.During([&] { return Config::GetConfigValue(KXW("N"), value, nullptr); }));
       }},
      {"a whole setting",
       [](Trial& trial) {
         SkxConfigSetting setting;
         return YesOrNothing(trial.During([&] { return Config::GetSetting(KXW("A"), setting, nullptr); }));
       }},
      {"all settings",
       [](Trial& trial) {
         return YesOrNothing(trial.During([&] {
           return Config::EnumSettings([](const SkxConfigSetting&, void*) { return true; }, nullptr, nullptr);
         }));
       }},
      {"a message",
       [&](Trial& trial) {
         const CkxMessageScope reader(KXW("en"), KXW("PC"));
         return textOrNothing(trial.During(
             [&] { return Config::GetMessageW("A message of some length", KXW("inserted, of some length"), text); }));
       }},
      {"the document of messages",
       [&](Trial& trial) { return textOrNothing(trial.During([&] { return Config::LoadMessages(text, nullptr); })); }},
  };
  for (const WCHAR* const name : {KXW(""), KXW("a publication that is remembered")}) {
    source.name = name;
    for (const auto& [what, entry] : entries) Sweep(what, entry, 1);
  }
}

TEST(NoMemory, AttributesOfAFile) {
  using Ea = CkxExtFileAttributes;
  const auto parent = KxTest_EaFolder();
  if (!parent) GTEST_SKIP() << "no file system here keeps attributes";
  const CkxTempFolder folder(*parent);
  const KxWString file = folder.Write("file", "content");
  const WCHAR* const path = file.c_str();
  const KxWString longText(100, KXW('v'));
  const auto sweep = [&](const std::string& name, const std::function<bool()>& call) {
    Sweep(
        name,
        [&](Trial& trial) {
          EXPECT_TRUE(Ea::SetToFile(path, "KXAGENTSUPDATA", longText.c_str(), false));
          return YesOrNothing(trial.During(call));
        },
        5);
  };
  Ea::SetDrvEaHelper(Ea::NativeDrvEaHelper());
  CkxFileFullEaInfo info;
  Ea list;
  sweep("set", [&] { return Ea::SetToFile(path, "KXAGENTURI", longText.c_str(), false); });
  sweep("set by the driver", [&] { return Ea::SetToFile(path, "$KERNEL.PURGE.KXFH", longText.c_str(), false); });
  sweep("got", [&] { return Ea::GetFromFile(path, "KXAGENTSUPDATA", info) && info.ValueLength() == 202; });
  sweep("listed", [&] { return list.LoadAllFromFile(path) && list.GetHeadPosition() != nullptr; });
  sweep("size", [&] { return Ea::GetEaSize(path) != 0; });
  sweep("deleted by its name", [&] { return Ea::DeleteFromFile(path, "KXAGENTSUPDATA"); });
  sweep("deleted by a part of it", [&] { return Ea::DeleteFromFileByPrefix(path, "agent"); });
  sweep("all deleted", [&] { return Ea::DeleteAllFromFile(path); });
  Ea::SetDrvEaHelper(nullptr);
}

TEST(NoMemory, SignedRecords) {
  const CkxSecretScope secrets({"the key of today.....", "the key of yesterday."});
  const KxWString uri = KXW("https://example.com/") + KxWString(60, 'u');
  std::vector<unsigned char> record;
  ASSERT_TRUE(CkxSrcUrlData(uri).ToBytes(record));
  const std::string plain = "<KxDrvData version=\"1\" kxDataId=\"\"><FileCreate time=\"1\"><Path>" +
                            std::string(60, 'p') + "</Path></FileCreate><Process order=\"0\"><Ipv6>" +
                            std::string(32, 'a') + "</Ipv6></Process></KxDrvData>";
  std::string document = plain;
  ASSERT_TRUE(CkxDrvXmlData::Sign(document, 1));
  CkxDrvXmlData driver;
  ASSERT_TRUE(driver.FromXml(document, 1));
  CkxSrcEmailData email;
  email.senderAddress = KxWString(60, 'a');
  std::string xml;
  ASSERT_TRUE(email.ToXml(xml));

  const auto held = [](bool done, const CkxUtilStr& text) {
    EXPECT_EQ(text.IsEmpty(), !done) << "half a record";
    return done ? Answer(KxText_ToUtf8(text.View())) : Answer();
  };
  const std::pair<const char*, Entry> entries[] = {
      {"a URI is signed",
       [&](Trial& trial) {
         CkxSrcUrlData data(uri);
         std::vector<unsigned char> made;
         const bool done = trial.During([&] { return data.ToBytes(made); });
         EXPECT_EQ(made.empty(), !done);
         return done ? Answer(std::string(made.begin(), made.end())) : Answer();
       }},
      {"a URI is read",
       [&](Trial& trial) {
         CkxSrcUrlData data;
         const bool done = trial.During([&] { return data.FromBytes(record, EkxSignatureCheck::OlderToo); });
         return held(done, data.Uri());
       }},
      {"a document is signed",
       [&](Trial& trial) {
         std::string text = plain;
         const bool done = trial.During([&] { return CkxDrvXmlData::Sign(text, 1); });
         EXPECT_EQ(text == plain, !done);
         return done ? Answer(text) : Answer();
       }},
      {"a document is read",
       [&](Trial& trial) {
         CkxDrvXmlData data;
         const bool done = trial.During([&] { return data.FromXml(document, 1, EkxSignatureCheck::OlderToo); });
         EXPECT_EQ(data.IsEmpty(), !done);
         return YesOrNothing(done);
       }},
      {"a process of it",
       [&](Trial& trial) {
         SkxDrvProcessInfo info;
         const bool done = trial.During([&] { return driver.GetProcessInfo(0, info); });
         return held(done, info.address);
       }},
      {"an e-mail is written",
       [&](Trial& trial) {
         std::string text;
         return trial.During([&] { return email.ToXml(text); }) ? Answer(text) : Answer();
       }},
      {"an e-mail is read",
       [&](Trial& trial) {
         CkxSrcEmailData data;
         const bool done = trial.During([&] { return data.FromXml(xml); });
         return held(done, data.senderAddress);
       }},
  };
  for (const auto& [name, entry] : entries) Sweep(name, entry, 1);
}

TEST(WithoutMemory, OriginsAreWholeOrNot) {
  const CkxTargetDocument document = CkxTargetDocument::Parse(
      R"({"kind":"process","path":"C:\\a.exe","user":{"sid":"S-1-5-18","groups":["S-1-1-0"]},"commandLine":"a /long-enough-to-be-in-memory",
          "origin":{"installer":{"installTime":1,"processes":[{"wellKnown":"chrome"}],"package":{"type":3,"path":"C:\\package-of-a-long-name.msi"}}},
          "parent":{"kind":"process","path":"C:\\Windows\\explorer.exe"}})");
  const auto& writer = static_cast<const CkxTargetInfoProcess&>(document.Target());
  CkxFileOrigin origin;
  std::string xml;
  ASSERT_TRUE(origin.FillFromProcess(KXW("C:\\file-of-a-long-name.exe"), writer, 5) && origin.ToXml(xml));
  const auto written = [](const CkxFileOrigin& one) {
    std::string text;
    EXPECT_TRUE(one.ToXml(text));
    return text;
  };
  const std::string nothing = written(CkxFileOrigin());
  const std::pair<const char*, Entry> entries[] = {
      {"an origin is filled",
       [&](Trial& trial) {
         CkxFileOrigin filled;
         const bool done =
             trial.During([&] { return filled.FillFromProcess(KXW("C:\\file-of-a-long-name.exe"), writer, 5); });
         EXPECT_EQ(written(filled) == nothing, !done);
         return done ? Answer(written(filled)) : Answer();
       }},
      {"an origin is written",
       [&](Trial& trial) {
         std::string text;
         return trial.During([&] { return origin.ToXml(text); }) ? Answer(text) : Answer();
       }},
      {"an origin is read",
       [&](Trial& trial) {
         CkxFileOrigin read;
         const bool done = trial.During([&] { return read.FromOwnXml(xml); });
         EXPECT_EQ(written(read) == nothing, !done);
         return done ? Answer(written(read)) : Answer();
       }},
  };
  for (const auto& [name, entry] : entries) Sweep(name, entry, 1);
}

TEST(NoMemory, TheProcessMap) {
  const KxWString longText(100, KXW('v'));
  SkxProcessFacts facts;
  facts.pid = facts.parentPid = 1;
  const CkxTargetInfoProcess target(SkxFileFacts(), std::move(facts), nullptr);
  const auto start = [&](uint32_t pid) {
    return KxUtilProcMap_OnProcessStart(pid, 1, 2, longText, longText, longText, 3);
  };
  const auto isFound = [](EkxGetCachedPropRes result) { return result == EkxGetCachedPropRes::Found; };
  struct Out {
    CkxProcessData data;
    CkxUtilStr text;
    CkxUtilStr other;
    EkxPublisherStatus status = EkxPublisherStatus::Unknown;
    SkxProcParamsForNetAccess params;
  };
  const std::pair<const char*, std::function<bool(Out & out)>> entries[] = {
      {"a start", [&](Out&) { return start(2); }},
      {"found", [](Out& out) { return KxUtilProcMap_FindProcessData(1, out.data); }},
      {"found as a parent", [&](Out& out) { return KxUtilProcMap_FindParentProcessData(target, out.data); }},
      {"path", [&](Out& out) { return isFound(KxUtilProcMap_GetImagePathAndCmdLine(1, out.text, out.other)); }},
      {"property set", [&](Out&) { return KxUtilProcMap_SetCachedProp(target, KXW("M"), longText); }},
      {"property", [&](Out& out) { return isFound(KxUtilProcMap_GetCachedProp(target, longText, out.text)); }},
      {"property removed", [&](Out&) { return KxUtilProcMap_RemoveCachedProp(target, longText); }},
      {"publisher set", [&](Out& out) { return KxUtilProcMap_SetPublisher(1, longText, out.status); }},
      {"publisher", [&](Out& out) { return isFound(KxUtilProcMap_GetPublisher(1, out.text, out.status)); }},
      {"file", [&](Out& out) { return KxUtilProcMap_SetProctionHandle(1, &out, longText); }},
      {"for the net", [](Out& out) { return KxUtilProcMap_GetProcParamsForNetAccess(1, out.params); }},
      {"as a text", [](Out& out) { return KxUtilProcMap_GetDump(out.text); }},
  };
  CkxTestProcMapSystem system;
  Sweep(
      "a first start",
      [&](Trial& trial) {
        const CkxRecordedProcMap map(system);
        const CkxProcMapScope scope(map);
        return YesOrNothing(trial.During([&] { return start(1); }));
      },
      1);
  for (const auto& [name, call] : entries) {
    Sweep(
        name,
        [&system, &start, &target, &longText, &call = call](Trial& trial) {
          const CkxRecordedProcMap map(system);
          const CkxProcMapScope scope(map);
          EXPECT_TRUE(start(1) && KxUtilProcMap_SetCachedProp(target, longText, longText) &&
                      KxUtilProcMap_SetPublisher(1, longText, EkxPublisherStatus::Valid));
          Out out;
          return YesOrNothing(trial.During([&] { return call(out); }));
        },
        1);
  }
}

TEST(NoMemory, AProcessTableIsFilledBeforeARecordIsRefused) {
  constexpr uint32_t kSlots = 16;
  std::vector<CkxProcessRecordPtr> records;
  for (uint32_t i = 0; i < kSlots; ++i) records.emplace_back(std::make_unique<SkxProcessRecord>())->data.Pid = 4 * i;
  CkxProcessTable table;
  CkxFailingMemory memory(0, true);
  const bool isRefused = memory.During([&] {
    try {
      for (CkxProcessRecordPtr& record : records) {
        table.Reserve(table.Count() + 1);
        table.Append(std::move(record));
      }
    } catch (const std::bad_alloc&) {
      return true;
    }
    return false;
  });
  EXPECT_TRUE(isRefused);
  EXPECT_EQ(table.Count(), kSlots - 1);
  for (uint32_t i = 0; i < kSlots; ++i) EXPECT_EQ(table.Find(4 * i) != nullptr, i < kSlots - 1) << i;
  table.Reserve(kSlots);
  table.Append(std::move(records.back()));
  for (uint32_t i = 0; i < kSlots; ++i) EXPECT_NE(table.Find(4 * i), nullptr) << i;
}

/// Whatever fails, what is kept with a file is what was there or what was to be.
TEST(NoMemory, WhatIsKeptWithAFile) {
  using Data = CkxSupplementalFileData;
  const auto parent = KxTest_EaFolder();
  if (!parent) GTEST_SKIP() << "no file system here keeps attributes";
  const CkxTempFolder folder(*parent);
  const CkxSecretScope secrets;
  const KxWString file = folder.Write("file", "content");
  const KxWString other = folder.Write("other", "content");
  CkxFileOrigin origin;
  origin.Preexisted() = true;
  const Data data(origin);
  const auto holds = [](const KxWString& path) {
    Data kept;
    return kept.FromFile(path.c_str()) && kept.Origin().Preexisted();
  };
  const auto sweep = [&](const std::string& name, const std::function<bool()>& call) {
    Sweep(
        name,
        [&](Trial& trial) {
          EXPECT_TRUE(data.ToFile(file.c_str()) && data.ToFile(other.c_str()));
          const Answer answer = YesOrNothing(trial.During(call));
          EXPECT_TRUE(holds(file) && holds(other));
          return answer;
        },
        20);
  };
  sweep("set", [&] { return data.ToFile(file.c_str()); });
  sweep("read", [&] { return holds(file); });
  sweep("copied", [&] { return Data::Copy(file.c_str(), other.c_str()); });
  sweep("signed anew", [&] { return Data::UpdateSignature(file.c_str()); });
  sweep("asked for", [&] { return CkxTargetInfoFile(file.c_str(), nullptr).Origin() != nullptr; });
}

}  // namespace
