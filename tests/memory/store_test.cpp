// Evaluations, the questions about policies, look-ups and matchers, without memory.
#include <gtest/gtest.h>
#include <kx_util/evaluation_observer.h>
#include <kx_util/kx_util.h>
#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_kinds.h>
#include <kx_util/token_policy_data.h>

#include <cstring>
#include <fstream>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Common_CPP/util/text.h"
#include "tests/memory/sweep.h"
#include "tests/support/policy_questions.h"

namespace {

using namespace kx_no_memory;

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

TEST(NoMemory, ASnapshotIsPreparedOrIsNone) {
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  Sweep(
      "prepared",
      [&](Trial& trial) -> Answer {
        const auto snapshot = trial.During([&] { return CkxPolicySnapshot::Prepare(Workstation(), fault); });
        EXPECT_EQ(fault, trial.Fault());
        return snapshot != nullptr ? Answer(std::to_string(snapshot->PolicyCount())) : std::nullopt;
      },
      100);
  const auto snapshot = CkxPolicySnapshot::Prepare(Workstation(), fault);
  ASSERT_NE(snapshot, nullptr);
  SweepTargets("looked up", 1, [&](Trial& trial, const CkxTargetInfo& target) -> Answer {
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    const bool applies =
        trial.During([&] { return snapshot->Evaluate(target, CkxApplicablePolicies::All(), info, outcome); });
    return applies ? Answer(std::to_string(info.PolicyId)) : std::nullopt;
  });
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

}  // namespace
