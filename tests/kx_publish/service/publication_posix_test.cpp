// Publications outlive their publishers: what a killed one leaves is whole for readers, and gone with the next.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <random>
#include <thread>

#include "Agent/engine/kx_publish/service/publication.h"
#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "tests/kx_publish/image/file_size_limit.h"
#include "tests/kx_publish/image/two_publications.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Runs `work` in a process of its own, whose exit code is what it returns; returns the process.
template <class Work>
pid_t Fork(Work work) {
  const pid_t child = fork();
  if (child == 0) _exit(work());
  return child;
}

int ExitCode(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// In a folder of its own, by the names of the live sections.
class PublicationPosix : public testing::Test {
 protected:
  const std::filesystem::path& Path() const { return folder.Folder().Path(); }

  /// Sorted, each number as "N".
  std::vector<std::string> Files() const {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Path())) {
      std::string name = entry.path().filename();
      if (name.starts_with("Global%5CKxPub")) name.replace(14, 4, "N");
      files.push_back(name);
    }
    std::ranges::sort(files);
    return files;
  }

  const CkxRuntimeFolderScope folder;
  std::string error;
};

TEST_F(PublicationPosix, TheIndexNamesTheSections) {
  SkxPolicyImage image = KxTest_Image('A');
  image.appGroups.reset();
  CkxPolicyPublication publication;
  ASSERT_TRUE(publication.Publish(image, error)) << error;
  const std::string index = folder.Folder().Read("Global%5CKxPoliciesIndexSection");
  ASSERT_EQ(index.size(), 384u);
  const std::u16string units(reinterpret_cast<const char16_t*>(index.data()), 192);
  EXPECT_EQ(units.substr(0, 12), u"Global\\KxPub");
  EXPECT_EQ(units.substr(12, 4).find_first_not_of(u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::u16string::npos);
  EXPECT_EQ(units.substr(16, 48), u"-Policies" + std::u16string(39, u'\0'));
  EXPECT_EQ(units[64], u'\0');
  EXPECT_EQ(units.substr(128, 12), u"Global\\KxPub");
  EXPECT_EQ(units.substr(140, 52), units.substr(12, 4) + u"-Alerts" + std::u16string(41, u'\0'));

  EXPECT_EQ(KxTest_Publication(), "AA-") << "read by the names that the library knows";
}

TEST_F(PublicationPosix, WhatAKilledPublisherLeftIsCleanedUp) {
  const pid_t child = Fork([] {
    CkxPolicyPublication publication;
    std::string ignored;
    publication.Publish(KxTest_Image('A'), ignored);
    publication.Publish(KxTest_Image('B'), ignored);
    return raise(SIGKILL);
  });
  EXPECT_EQ(ExitCode(child), -1);
  EXPECT_EQ(KxTest_Publication(), "BBB");
  EXPECT_THAT(Files(), Contains("Global%5CKxPoliciesPublisher.lock"));
  folder.Folder().Write("Global%5CKxPub0000-Policies", "not in any index");
  folder.Folder().Write(".kx-1-0.tmp", "half writ");
  folder.Folder().Write("another's.sock", "x");
  const std::string previous =
      KxText_ToUtf8(KxPolicyIndex_SectionName(kKxPoliciesIndexSection, EkxPolicySection::Policies));

  CkxPolicyPublication next;
  ASSERT_TRUE(next.Publish(KxTest_Image('A'), error)) << error;
  EXPECT_EQ(KxTest_Publication(), "AAA");
  EXPECT_EQ(Files().size(), 1u + 3u + 3u + 1u + 1u + 1u) << "index, two generations, notice, lock, another's";
  EXPECT_TRUE(std::filesystem::exists(Path() / ("Global%5C" + previous.substr(7)))) << "a reader may want it";
  EXPECT_TRUE(next.Unpublish(error)) << error;
  EXPECT_THAT(Files(), ElementsAre("another's.sock"));
}

TEST_F(PublicationPosix, AFailureLeavesTheOldPublicationAndNothingElse) {
  CkxPolicyPublication publication;
  ASSERT_TRUE(publication.Publish(KxTest_Image('A'), error)) << error;
  const std::vector<std::string> before = Files();
  SkxPolicyImage large = KxTest_Image('B');
  large.alerts->resize(100'000);
  SkxPolicyImage tiny;
  tiny.policies = tiny.appGroups = tiny.alerts = SkxPolicyImage::Bytes(4);
  const struct {
    const char* name;
    SkxPolicyImage image;
    rlim_t limit;
    std::string line;
  } kCases[] = {
      {"the last section", large, 50'000, "Global\\KxPub"},
      {"the index", tiny, 100, "Global\\KxPoliciesIndexSection: cannot be published: "},
  };
  for (const auto& test : kCases) {
    bool published = true;
    {
      const CkxFileSizeLimit limit(test.limit);
      published = publication.Publish(test.image, error);
    }
    EXPECT_FALSE(published) << test.name;
    EXPECT_THAT(error, StartsWith(test.line)) << test.name;
    EXPECT_EQ(KxTest_Publication(), "AAA") << test.name;
    EXPECT_EQ(Files(), before) << test.name;
  }
  ASSERT_TRUE(publication.Publish(KxTest_Image('B'), error)) << error;
  EXPECT_EQ(KxTest_Publication(), "BBB");
}

TEST_F(PublicationPosix, WhatAnIndexThatCannotBeReadNamesStays) {
  CkxPolicyPublication publication;
  ASSERT_TRUE(publication.Publish(KxTest_Image('A'), error)) << error;
  const std::filesystem::path index = Path() / "Global%5CKxPoliciesIndexSection";
  std::filesystem::permissions(index, std::filesystem::perms(0666));  // refused by readers
  {
    const CkxTraceCapture trace;
    const CkxFileSizeLimit limit(3);
    EXPECT_FALSE(publication.Publish(KxTest_Image('B'), error));
    EXPECT_EQ(trace.Texts().size(), 2u) << "whose it may be, and that it cannot be opened";
  }
  std::filesystem::permissions(index, std::filesystem::perms(0444));
  EXPECT_EQ(KxTest_Publication(), "AAA");
}

TEST_F(PublicationPosix, AFolderThatOthersCanWriteIsRefused) {
  std::filesystem::permissions(Path(), std::filesystem::perms(0777));
  CkxPolicyPublication publication;
  EXPECT_FALSE(publication.Publish(KxTest_Image('A'), error));
  EXPECT_EQ(error, "Global\\KxPoliciesPublisher: cannot be made: no permission");
  EXPECT_THAT(Files(), IsEmpty());
}

TEST_F(PublicationPosix, ASectionThatIsGoneForGoodIsQuiet) {
  CkxPolicyPublication publication;
  ASSERT_TRUE(publication.Publish(KxTest_Image('A'), error)) << error;
  const KxWString name = KxPolicyIndex_SectionName(kKxPoliciesIndexSection, EkxPolicySection::Policies);
  EXPECT_TRUE(KxSharedMemory_Remove(name));
  const CkxTraceCapture trace;
  EXPECT_EQ(KxTest_Publication(), "--A");
  EXPECT_THAT(trace.Texts(), IsEmpty());
}

TEST_F(PublicationPosix, KilledAtAnyMomentAPublisherLeavesOneWhole) {
  std::minstd_rand random(1);
  ASSERT_TRUE(CkxPolicyPublication().Publish(KxTest_Image('A'), error)) << error;
  std::string met;
  // On a machine that is so busy that no publication is ever done in that time, it has more.
  for (unsigned round = 0; round < 200 || (round < 2000 && met.find('B') == met.npos); ++round) {
    const pid_t child = Fork([&] {
      CkxPolicyPublication publication;
      for (;;) {
        publication.Publish(KxTest_Image('B'), error);
        publication.Publish(KxTest_Image('A'), error);
      }
      return 0;
    });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (3000 + round / 200 * 6000)));
    kill(child, SIGKILL);
    EXPECT_EQ(ExitCode(child), -1);
    const std::string publication = KxTest_Publication();
    ASSERT_TRUE(publication == "AAA" || publication == "BBB") << publication << ", round " << round;
    met += publication[0];
  }
  EXPECT_THAT(met, Contains('A'));
  EXPECT_THAT(met, Contains('B'));

  ASSERT_TRUE(CkxPolicyPublication().Publish(KxTest_Image('A'), error)) << error;
  EXPECT_EQ(KxTest_Publication(), "AAA") << "it stays until anyone takes it out";
  EXPECT_LE(Files().size(), 1u + 3u + 3u + 1u) << "index, two generations at most, notice";
  EXPECT_TRUE(CkxPolicyPublication().Unpublish(error)) << error;
  EXPECT_THAT(Files(), IsEmpty());
}

}  // namespace
