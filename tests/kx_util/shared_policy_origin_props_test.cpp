// The properties that ask for origins, byte by byte. An obfuscated 'a' (61) is 27, a zero byte 46; SIDs and numbers lie
// as they are.
#include <gtest/gtest.h>
#include <kx_util/shared_policy_origin_props.h>

#include "Common_CPP/util/text.h"
#include "tests/support/read_prop.h"

namespace {

TEST(OriginProps, ADistributorNeedsAName) {
  const auto distributor = KxTest_Read<CkxShBufPropDistributionService>({1, 4, 0, 0, 0, 0x27, 0x46, 0x46, 0x46});
  ASSERT_NE(distributor, nullptr);
  EXPECT_EQ(KxText_ToUtf8(distributor->Name()), "a");
  EXPECT_EQ(KxTest_Read<CkxShBufPropDistributionService>({1, 0, 0, 0, 0}), nullptr);
}

TEST(OriginProps, ASpawnerIsReadWithAnyMode) {
  for (const unsigned char mode : std::initializer_list<unsigned char>{0, 1, 2, 3, 255}) {
    const auto spawner = KxTest_Read<CkxShBufPropSpawnerProcess>({1, 7, mode});
    ASSERT_NE(spawner, nullptr);
    EXPECT_TRUE(spawner->AllCallers());
    EXPECT_EQ(spawner->Mode(), mode);
  }
}

TEST(OriginProps, UsersAreSids) {
  const auto users = KxTest_Read<CkxShBufPropUserList>({
      1, 3,  0, 0, 0,                                       // set, three
      1, 12, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0,  // S-1-5-18
      0,                                                    // not set
      1, 0,  0, 0, 0,                                       // none: the null SID
  });
  ASSERT_NE(users, nullptr);
  std::string told;
  for (const CkxPropNode<CkxShBufPropUserOrGroup>& node : users->Elements()) {
    told += node.prop.Initialized() ? node.prop.Sid().ToUtf8() + " " : "unset ";
  }
  EXPECT_EQ(told, "S-1-5-18 unset S-1-0-0 ");
}

TEST(OriginProps, APackageHasVersionsAndPublishers) {
  const auto package = KxTest_Read<CkxShBufPropPackage>({
      1, 1, 4, 0, 0, 0,    0x27, 0x46, 0x46, 0x46,  // set, flag, "a"
      1,                                            // versions, set:
      2, 0, 1, 0, 4, 0,    3,    0,    6,    0,    5, 0, 8,
      0, 7, 0,                                               // 1.2.3.4 to 5.6.7.8, the lower half of each word first
      2, 0, 0, 0, 0,                                         // two publishers, the first not set
      1, 4, 0, 0, 0, 0x24, 0x46, 0x46, 0x46, 1,    1, 0, 0,  // "b", case counts, equals, signed
  });
  ASSERT_NE(package, nullptr);
  EXPECT_TRUE(package->Flag());
  EXPECT_EQ(KxText_ToUtf8(package->Name()), "a");
  EXPECT_TRUE(package->Versions().Range().MinVersion().IsEqual(1, 2, 3, 4));
  EXPECT_TRUE(package->Versions().Range().MaxVersion().IsEqual(5, 6, 7, 8));
  std::string told;
  for (const CkxPropNode<CkxShBufPropPublisher>& node : package->Publishers()) {
    told += node.prop.Initialized() ? KxText_ToUtf8(node.prop.Pattern()) + " " : "unset ";
  }
  EXPECT_EQ(told, "unset b ");
}

TEST(OriginProps, AnOriginOfPartsThatAreNotSet) {
  const auto origin = KxTest_Read<CkxShBufPropFileOrigin>({1, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  ASSERT_NE(origin, nullptr);
  EXPECT_FALSE(origin->Flag());
  EXPECT_EQ(origin->MainSourceType(), 3u);
  for (const CkxShBufPropBase* part : std::initializer_list<const CkxShBufPropBase*>{
           &origin->DistributionService(), &origin->Location(), &origin->Package(), &origin->SpawnerProcess(),
           &origin->SourceAddress(), &origin->Users()}) {
    EXPECT_FALSE(part->Initialized());
  }
  EXPECT_EQ(KxTest_Read<CkxShBufPropFileOrigin>({1, 0, 3, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}), nullptr)
      << "a part that does not read spoils the whole";
}

}  // namespace
