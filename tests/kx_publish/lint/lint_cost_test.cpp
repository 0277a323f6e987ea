// Policies that every decision has to ask, among so many that it matters.
#include <gtest/gtest.h>
#include <kx_util/match_str.h>

#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/lint/lint.h"
#include "Common_CPP/util/text.h"

namespace {

void AddPolicy(SkxPublication& publication, const WCHAR* pattern, EkxStrCompareAs compareAs) {
  SkxExeTarget exe;
  exe.fileName.emplace().pattern = pattern;
  exe.fileName->compareAs = static_cast<uint16_t>(compareAs);
  SkxPolicyModel& policy = publication.policies.emplace_back();
  policy.id = static_cast<uint32_t>(publication.policies.size());
  policy.action = EkxPolicyAction::Block;
  policy.targets.emplace_back().body = std::move(exe);
}

std::vector<uint32_t> AskedAlways(const SkxPublication& publication) {
  std::vector<uint32_t> ids;
  for (const SkxFinding& finding : KxLint_Image(KxEncode_Image(publication))) {
    if (std::string_view(finding.rule) == "asked-always") ids.push_back(finding.policyId.value());
  }
  return ids;
}

TEST(LintCost, NamesWhatIsAskedAlwaysOnceThereAreMany) {
  SkxPublication publication;
  AddPolicy(publication, KXW("[ab]pp.exe"), EkxStrCompareAs::StrRegExp);
  AddPolicy(publication, KXW("a?b*.ex"), EkxStrCompareAs::StrWildcard);
  AddPolicy(publication, KXW("*.exe"), EkxStrCompareAs::StrWildcard);
  AddPolicy(publication, KXW("exe"), EkxStrCompareAs::StrContains);
  while (publication.policies.size() < 998) {
    const KxWString name = *KxText_FromUtf8("tool-" + std::to_string(publication.policies.size()));
    AddPolicy(publication, name.c_str(), EkxStrCompareAs::StrEquals);
  }
  AddPolicy(publication, KXW("*"), EkxStrCompareAs::StrWildcard);  // takes the rest, as the last one may
  EXPECT_TRUE(AskedAlways(publication).empty());
  AddPolicy(publication, KXW("last.exe"), EkxStrCompareAs::StrEquals);
  EXPECT_EQ(AskedAlways(publication), (std::vector<uint32_t>{1, 2, 4}));
}

}  // namespace
