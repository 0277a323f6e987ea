// Whatever is published is read whole, and whatever goes wrong leaves what was published before.
#include "Agent/engine/kx_publish/service/publication.h"

#include <gmock/gmock.h>

#include <atomic>

#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "Common_CPP/util/last_error.h"
#include "tests/kx_publish/image/two_publications.h"
#include "tests/support/notice_wait.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::IsEmpty;

constexpr EkxPolicySection kSections[] = {EkxPolicySection::Policies, EkxPolicySection::AppGroups,
                                          EkxPolicySection::Alerts};

class Publication : public testing::Test {
 protected:
  KxWString NameOf(EkxPolicySection which) const { return KxPolicyIndex_SectionName(index, which); }
  void Publish(const SkxPolicyImage& image) { EXPECT_TRUE(publication.Publish(image, error)) << error; }
  void Publish(char letter) { Publish(KxTest_Image(letter)); }

  const CkxRuntimeFolderScope folder;
  const KxWString nameSpace = folder.Name(KXW(""));
  const KxWString index = nameSpace + KXW("KxPoliciesIndexSection");
  const std::unique_ptr<IkxPolicySource> live = KxPolicySource_OfIndex(index);
  const CkxPolicySourceScope scope{*live};
  CkxPolicyPublication publication{nameSpace};
  std::string error;
};

TEST_F(Publication, IsReadUntilItIsReplacedOrTakenOut) {
  const CkxTraceCapture trace;
  EXPECT_EQ(KxTest_Publication(), "---");
  for (int i = 0; i < 3; ++i) {
    for (const char letter : {'A', 'B', 'B', 'A'}) {
      Publish(letter);
      EXPECT_EQ(KxTest_Publication(), std::string(3, letter));
    }
    EXPECT_TRUE(publication.Unpublish(error)) << error;
    EXPECT_EQ(KxTest_Publication(), "---");
    EXPECT_TRUE(publication.Unpublish(error)) << error << ": nothing to take out";
  }
  EXPECT_THAT(trace.Texts(), IsEmpty()) << "that nothing is published is no error";
}

TEST_F(Publication, ASectionThatTheImageLacksIsNotPublished) {
  const SkxPolicyImage full = KxTest_Image('A');
  const SkxPolicyImage::Bytes nothing;
  const struct {
    const char* name;
    SkxPolicyImage image;
    std::string answers;
    bool published[3];
  } kCases[] = {
      {"policies alone", {full.policies, {}, {}, {}}, "AA-", {true, false, false}},
      {"groups alone", {{}, full.appGroups, {}, {}}, "--A", {false, true, false}},
      {"alerts alone", {{}, {}, full.alerts, {}}, "---", {false, false, true}},
      {"no sections", {}, "---", {false, false, false}},
      {"sections without a byte", {nothing, nothing, nothing, {}}, "---", {true, true, true}},
      {"all", full, "AAA", {true, true, true}},
  };
  const CkxTraceCapture trace;
  for (const auto& test : kCases) {
    Publish('B');
    Publish(test.image);
    EXPECT_EQ(KxTest_Publication(), test.answers) << test.name;
    for (size_t i = 0; i < std::size(kSections); ++i) {
      EXPECT_EQ(!NameOf(kSections[i]).empty(), test.published[i]) << test.name << ", " << i;
    }
  }
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(Publication, WhoHasReadTheIndexStillFindsItsSection) {
  Publish('A');
  const KxWString name = NameOf(EkxPolicySection::Policies);
  Publish('B');
  EXPECT_NE(NameOf(EkxPolicySection::Policies), name);
  {
    CkxSharedMemoryView view;
    ASSERT_TRUE(view.Open(name));
    const KxBytes bytes = *KxTest_Image('A').policies;
    ASSERT_GE(view.Bytes().size(), bytes.size());
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), view.Bytes().begin()));
  }
  Publish('A');
  CkxSharedMemoryView view;
  EXPECT_FALSE(view.Open(name)) << "nobody wants it any more";
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  EXPECT_EQ(KxTest_Publication(), "AAA");
}

/// An index that is being rewritten, for longer than anybody waits.
TEST_F(Publication, NamesOfTwoPublicationsAreNoState) {
  const auto bytesOfIndex = [&] {
    CkxSharedMemoryView view;
    EXPECT_TRUE(view.Open(index));
    return KxBytes(view.Bytes().begin(), view.Bytes().begin() + 384);
  };
  Publish('A');
  KxBytes mixed = bytesOfIndex();
  Publish('B');
  const KxBytes second = bytesOfIndex();
  std::copy(second.begin() + 128, second.end(), mixed.begin() + 128);  // the policies stay the first one's
  CkxSharedMemoryPublication rewritten;
  ASSERT_TRUE(rewritten.Publish(index, mixed));
  const CkxTraceCapture trace;
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::PolicyApplies;
  CkxSharedPoliciesData::GetTargetPolicyAction(CkxTargetInfoFile(SkxFileFacts(), nullptr), info, outcome);
  EXPECT_EQ(outcome, EkxEvaluationOutcome::NotAnswered);
  EXPECT_THAT(trace.Texts(), testing::Contains(testing::HasSubstr("does not come to rest")));
}

TEST_F(Publication, OnePublisherAtATime) {
  Publish('A');
  CkxPolicyPublication other(nameSpace);
  const std::string refused = KxText_ToUtf8(nameSpace) + "KxPoliciesPublisher: another publisher is at work";
  EXPECT_FALSE(other.Publish(KxTest_Image('B'), error));
  EXPECT_EQ(error, refused);
  error.clear();
  EXPECT_FALSE(other.Unpublish(error));
  EXPECT_EQ(error, refused);
  EXPECT_EQ(KxTest_Publication(), "AAA");

  EXPECT_TRUE(publication.Unpublish(error)) << error;
  EXPECT_TRUE(other.Publish(KxTest_Image('B'), error)) << error;
  EXPECT_EQ(KxTest_Publication(), "BBB");
  EXPECT_FALSE(publication.Publish(KxTest_Image('A'), error));
  EXPECT_EQ(error, refused);
}

TEST_F(Publication, NamesThatDoNotFitInTheIndexAreRefused) {
  CkxPolicyPublication tooLong(nameSpace + KxWString(40, KXW('n')));
  EXPECT_FALSE(tooLong.Publish(KxTest_Image('A'), error));
  EXPECT_NE(error.find("too long for the index"), std::string::npos) << error;
}

TEST_F(Publication, TellsWhoeverWaits) {
  const auto waiter = KxNotice_OpenWaiter(nameSpace + KXW("ZOR_PoliciesUpdatedEvent"));
  ASSERT_NE(waiter, nullptr);
  for (const char letter : {'A', 'B'}) {
    Publish(letter);
    EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << letter;
  }
  EXPECT_TRUE(publication.Unpublish(error)) << error;
  EXPECT_EQ(KxTest_Wait(*waiter), EkxNoticeWait::Told) << "taken out";
}

TEST_F(Publication, ReadersMeetOneOrTheOtherWhole) {
  const CkxTraceCapture trace;
  Publish('A');
  std::atomic<bool> done = false;
  SkxMetPublications met;
  std::vector<std::thread> readers;
  for (int i = 0; i < 4; ++i) {
    readers.emplace_back([&] {
      const CkxPolicySourceScope own(*live);
      while (!done) met.Read();
    });
  }
  for (int i = 0; i < 300; ++i) Publish(i % 2 == 0 ? 'B' : 'A');
  done = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(met.a, 0);
  EXPECT_GT(met.b, 0);
  EXPECT_EQ(met.nothing, 0) << "a moment without policies";
  EXPECT_EQ(met.mixed, 0) << "a mixture";
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

}  // namespace
