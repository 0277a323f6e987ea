// The questions that policies are asked about a thing or a user, by name: for tests of their answers and of those that
// they have without memory. An answer is a number where the question gives one, else 0 or 1.
#pragma once

#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/target_info_process.h>

#include <map>
#include <string>

using KxTestQuestion = uint32_t (*)(const CkxTargetInfo& target, void* token);

/// What comes out of `ask`: nothing when the answer is no.
template <class Ask>
uint32_t KxTest_Number(Ask ask) {
  uint32_t number = 0;
  const bool answer = ask(number);
  EXPECT_TRUE(answer || number == 0) << "an out value is the answer's own";
  return answer ? number : 0;
}

inline const std::map<std::string, KxTestQuestion>& KxTest_Questions() {
  using Data = CkxSharedPoliciesData;
  using Target = const CkxTargetInfo&;
  using Answer = uint32_t;
  static const std::map<std::string, KxTestQuestion> questions = {
      {"IsBlocked", [](Target t, void*) -> Answer { return Data::IsBlocked(t); }},
      {"ElevatorAllowed", [](Target t, void*) -> Answer { return Data::ElevatorAllowed(t); }},
      {"IsMultifileCreator", [](Target t, void*) -> Answer { return Data::IsMultifileCreator(t); }},
      {"ActiveXPolicyAutomationAllowed",
       [](Target t, void*) -> Answer { return Data::ActiveXPolicyAutomationAllowed(t); }},
      {"ShellOnDemandElevationAllowed",
       [](Target t, void*) {
         return KxTest_Number([&](Answer& id) {
           const auto* const process = dynamic_cast<const CkxTargetInfoProcess*>(&t);
           return process != nullptr && Data::ShellOnDemandElevationAllowed(*process, id);
         });
       }},
      {"GetPossibleActiveXInstallPolicyActions",
       [](Target, void* token) {
         return KxTest_Number([&](Answer& mask) { return Data::GetPossibleActiveXInstallPolicyActions(token, mask); });
       }},
      {"ManualPolicyRequestAllowed",
       [](Target, void* token) {
         return KxTest_Number([&](Answer& id) { return Data::ManualPolicyRequestAllowed(token, id); });
       }},
      {"IsExcluded",
       [](Target t, void* token) -> Answer {
         const IkxPathProvider* const path = t.QueryPathProvider();
         return path != nullptr && Data::IsExcluded(path->GetPath(), token);
       }},
      {"HasActiveShellEoDTargets", [](Target, void* token) -> Answer { return Data::HasActiveShellEoDTargets(token); }},
      {"HasActiveBlockedTargets", [](Target, void* token) -> Answer { return Data::HasActiveBlockedTargets(token); }},
  };
  return questions;
}
