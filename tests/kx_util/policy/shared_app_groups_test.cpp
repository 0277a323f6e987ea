#include <kx_util/shared_app_groups.h>
#include <kx_util/target_info_kinds.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/util/guid.h"
#include "tests/support/recording_observer.h"
#include "tests/support/target_records.h"

namespace {

using namespace kx_test_records;
using testing::ElementsAre;
using testing::IsEmpty;

CkxRecordBytes ThreeUrls() { return Group(4, {Url(1, u"ftp:*"), Url(2, u"http:*"), Url(3, u"http:*")}); }

CkxShBufAppGroupPtr Read(const CkxExactBytes& bytes, bool copy) {
  return CkxShBufAppGroupPtr(CkxShBufAppGroup::AppGroupFromBuffer(bytes.As<SkxAppGroupBufHeader>(), copy));
}

std::vector<uint32_t> Enumerated(CkxShBufAppGroup& group, size_t atMost, bool& completed) {
  struct Visit {
    std::vector<uint32_t> ids;
    size_t atMost;
  } visit = {{}, atMost};
  CkxShBufAppGroup::SkxEnumContext context = {[](const CkxShBufTarget& target, void* v) {
                                                auto& visited = *static_cast<Visit*>(v);
                                                visited.ids.push_back(target.TargetId().Data1);
                                                return visited.ids.size() < visited.atMost;
                                              },
                                              &visit, false};
  group.DoEnumTargets(&context);
  completed = context.completed;
  return visit.ids;
}

TEST(AppGroup, EnumerationStopsWhenItsCallbackSaysSo) {
  const CkxExactBytes three(ThreeUrls().Bytes());
  const CkxExactBytes none(Group(4, {}).Bytes());
  bool completed = false;
  EXPECT_THAT(Enumerated(*Read(three, false), 2, completed), ElementsAre(1u, 2u));
  EXPECT_FALSE(completed);
  EXPECT_THAT(Enumerated(*Read(three, false), 9, completed), ElementsAre(1u, 2u, 3u));
  EXPECT_TRUE(completed);
  completed = false;
  EXPECT_THAT(Enumerated(*Read(none, false), 9, completed), IsEmpty());
  EXPECT_TRUE(completed);

  SkxTriggerPolicyShortInfo info;
  const CkxTargetInfoElevator web(2, KXW("http://x"), nullptr);
  EXPECT_FALSE(Read(none, false)->MatchTarget(web, info));
}

}  // namespace
