// One handle answers any number of threads at once as it answers one.
#include <thread>

#include "tests/kx_policy/asked.h"

namespace {

std::vector<SkxAsked> AskAll(const kx_policies* policies, const std::vector<std::string>& targets, int32_t explain) {
  const kx_policy_options options = {sizeof(options), nullptr, nullptr, explain};
  std::vector<SkxAsked> answers;
  for (const std::string& target : targets) answers.push_back(KxTest_Ask(policies, target, &options));
  return answers;
}

TEST(PolicyHandleThreads, AnswerAsOneDoes) {
  constexpr int32_t kThreads = 4;
  constexpr int kRounds = 10;
  const KxTestPolicies policies = KxTest_OpenedWorkstation();
  std::vector<std::string> targets = KxTest_Lines(kKxTestTargets);
  targets.push_back("none");
  std::vector<std::vector<SkxAsked>> alone(3), together(kThreads);
  for (int32_t explain = 0; explain < 3; ++explain) {
    alone[static_cast<size_t>(explain)] = AskAll(policies.get(), targets, explain);
  }
  std::vector<std::thread> threads;
  for (int32_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      std::vector<SkxAsked>& mine = together[static_cast<size_t>(i)];
      for (int round = 0; round < kRounds; ++round) mine = AskAll(policies.get(), targets, i % 3);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < together.size(); ++i) {
    ASSERT_EQ(together[i].size(), targets.size());
    for (size_t k = 0; k < targets.size(); ++k) {
      const SkxAsked& expected = alone[i % 3][k];
      EXPECT_EQ(together[i][k].status, expected.status) << targets[k];
      EXPECT_EQ(together[i][k].answer, expected.answer);
      EXPECT_EQ(together[i][k].error, expected.error);
    }
  }
  EXPECT_NE(alone[0][0].answer, alone[2][0].answer);
}

}  // namespace
