// What readers keep alive on Windows by having it open: names that are taken, an index that cannot go away.
#include "Agent/engine/kx_publish/service/publication.h"

#include <gtest/gtest.h>

#include "Agent/engine/kx_util/store/live_policy_source.h"
#include "tests/kx_publish/image/two_publications.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

class PublicationWin : public testing::Test {
 protected:
  void Publish(char letter) { EXPECT_TRUE(publication.Publish(KxTest_Image(letter), error)) << error; }
  KxWString Policies() const { return KxPolicyIndex_SectionName(index, EkxPolicySection::Policies); }

  const CkxRuntimeFolderScope folder;
  const KxWString nameSpace = folder.Name(L"");
  const KxWString index = nameSpace + L"KxPoliciesIndexSection";
  const std::unique_ptr<IkxPolicySource> live = KxPolicySource_OfIndex(index);
  const CkxPolicySourceScope scope{*live};
  CkxPolicyPublication publication{nameSpace};
  std::string error;
};

/// The name of the same section in the publication after.
KxWString Next(KxWString name) {
  const KxWString digits = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (size_t at = name.rfind(L'-') - 1, left = 4; left != 0; --at, --left) {
    name[at] = digits[(digits.find(name[at]) + 1) % digits.size()];
    if (name[at] != L'0') break;
  }
  return name;
}

TEST_F(PublicationWin, NamesThatAreTakenArePassedOver) {
  Publish('A');
  const KxWString first = Policies();
  CkxSharedMemoryPublication taken[3];
  KxWString name = first;
  for (CkxSharedMemoryPublication& section : taken) {
    name = Next(name);
    ASSERT_TRUE(section.PublishNew(name, KxBytes{1, 2, 3, 4}));
  }
  Publish('B');
  EXPECT_EQ(KxTest_Publication(), "BBB");
  EXPECT_EQ(Policies(), Next(name));
  CkxSharedMemoryView view;
  ASSERT_TRUE(view.Open(name));
  EXPECT_EQ(view.Bytes()[0], 1) << "somebody else's is as it was";
}

TEST_F(PublicationWin, WithoutANameThatIsFreeTheOldStays) {
  Publish('A');
  std::vector<CkxSharedMemoryPublication> taken(100);
  KxWString name = Policies();
  for (CkxSharedMemoryPublication& section : taken) {
    name = Next(name);
    ASSERT_TRUE(section.PublishNew(name, KxBytes{0}));
  }
  EXPECT_FALSE(publication.Publish(KxTest_Image('B'), error));
  EXPECT_EQ(error, KxText_ToUtf8(name) + ": cannot be published: something of that name is there already");
  EXPECT_EQ(KxTest_Publication(), "AAA");
}

TEST_F(PublicationWin, TakenOutItIsGoneThoughReadersKeepItOpen) {
  for (const bool republished : {false, true}) {
    Publish('A');
    CkxSharedMemoryView openIndex;
    CkxSharedMemoryView openPolicies;
    ASSERT_TRUE(openIndex.Open(index));
    ASSERT_TRUE(openPolicies.Open(Policies()));
    EXPECT_TRUE(publication.Unpublish(error)) << error;
    EXPECT_EQ(KxTest_Publication(), "---");
    if (!republished) continue;
    CkxPolicyPublication next(nameSpace);
    EXPECT_TRUE(next.Publish(KxTest_Image('B'), error)) << error;
    EXPECT_EQ(KxTest_Publication(), "BBB") << "through the index that was kept";
    EXPECT_EQ(openIndex.Bytes()[0], 'L') << "and for whoever keeps it: Local\\...";
  }
}

}  // namespace
