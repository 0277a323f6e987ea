#include "Agent/engine/kx_publish/image/image_judge.h"

#include <gtest/gtest.h>

#include <thread>

#include "Agent/engine/kx_publish/image/encode_image.h"

namespace {

SkxPolicyImage ImageThatBlocksScripts() {
  SkxPublication publication;
  SkxPolicyModel& policy = publication.policies.emplace_back();
  policy.id = 7;
  policy.action = EkxPolicyAction::Block;
  policy.targets.emplace_back().body = SkxScriptTarget();
  return KxEncode_Image(publication);
}

/// At which of the first questions the source is prepared; 0: at none.
int PreparedFor(const CkxImageJudge& judge) {
  constexpr int kQuestions = 1000;
  for (int question = 1; question <= kQuestions; ++question) {
    if (judge.SnapshotForNext() != nullptr) return question;
  }
  return 0;
}

TEST(ImageJudge, PreparesWhenItIsTold) {
  const CkxImageSource source(ImageThatBlocksScripts());
  EXPECT_EQ(PreparedFor(CkxImageJudge(source, EkxPrepare::AtOnce)), 1);
  EXPECT_GT(PreparedFor(CkxImageJudge(source, EkxPrepare::WhenItPays)), 100);
  EXPECT_EQ(PreparedFor(CkxImageJudge(source, EkxPrepare::Never)), 0);
}

TEST(ImageJudge, AnswersTheSameBeforeAndAfterOnAnyThread) {
  const CkxImageJudge judge(ImageThatBlocksScripts(), EkxPrepare::WhenItPays);
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      const auto script = CkxTargetDocument::Parse(R"({"kind":"file","path":"C:\\a.ps1"})");
      const auto text = CkxTargetDocument::Parse(R"({"kind":"file","path":"C:\\a.txt"})");
      for (int question = 0; question < 100; ++question) {
        const SkxJudgement of = judge.Judge(script);
        if (!of.matched || of.info.PolicyId != 7 || judge.Judge(text).matched) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_NE(judge.SnapshotForNext(), nullptr);
}

}  // namespace
