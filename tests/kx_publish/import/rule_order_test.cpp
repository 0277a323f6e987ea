// The order of rules with exceptions, against what is documented of the rules themselves.
#include "Agent/engine/kx_publish/import/rule_order.h"

#include <kx_util/match_str.h>

#include <nlohmann/json.hpp>
#include <random>

#include "Common_CPP/util/text.h"
#include "tests/kx_publish/import/imported.h"

namespace {

/// A pattern, and a bit for each of `kFiles` that it takes, worked out by hand.
struct SkxTestPath {
  const WCHAR* pattern;
  uint32_t files;
};
constexpr const WCHAR* kFiles[] = {KXW("C:\\A\\x.exe"), KXW("C:\\A\\B\\x.exe"), KXW("C:\\A\\B\\y.exe"),
                                   KXW("C:\\C\\y.exe"), KXW("D:\\x.exe")};
constexpr SkxTestPath kPaths[] = {
    {KXW("*"), 0b11111},
    {KXW("C:\\*"), 0b01111},
    {KXW("C:\\A\\*"), 0b00111},
    {KXW("C:\\A\\B\\*"), 0b00110},
    {KXW("*\\x.exe"), 0b10011},
    {KXW("C:\\*\\y.exe"), 0b01100},
    {KXW("C:\\C\\y.exe"), 0b01000},
    {KXW("D:\\*"), 0b10000},
};
constexpr const char* kGroup = "S-1-5-32-545";

struct SkxTestRule {
  bool isAllow;
  bool isForGroup;
  SkxTestPath path;
  std::vector<SkxTestPath> exceptions;
};
using KxTestRules = std::vector<SkxTestRule>;

KxTestRules RandomRules(uint32_t seed, bool withGroups) {
  std::mt19937 random(seed);
  const auto pick = [&](size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random); };
  KxTestRules rules;
  for (size_t left = 1 + pick(5); left > 0; --left) {
    SkxTestRule rule = {pick(3) != 0, withGroups && pick(4) == 0, kPaths[pick(std::size(kPaths))], {}};
    for (size_t more = pick(3) == 0 ? 1 + pick(2) : 0; more > 0; --more) {
      rule.exceptions.push_back(kPaths[pick(std::size(kPaths))]);
    }
    rules.push_back(rule);
  }
  return rules;
}

bool IsAllowed(const KxTestRules& rules, size_t file, bool isMember) {
  bool isAllowed = false;
  for (const SkxTestRule& rule : rules) {
    const auto takes = [&](const SkxTestPath& path) { return (path.files >> file & 1) != 0; };
    if (rule.isForGroup && !isMember) continue;
    if (!takes(rule.path) || std::any_of(rule.exceptions.begin(), rule.exceptions.end(), takes)) continue;
    if (!rule.isAllow) return false;
    isAllowed = true;
  }
  return isAllowed;
}

SkxFileCondition ConditionOf(const SkxTestPath& path) {
  SkxFileCondition condition;
  if (CkxTextView(path.pattern).Size() > 1) condition.path = SkxPathPattern{path.pattern, {}};
  return condition;
}

SkxImportedSet SetOf(const KxTestRules& rules) {
  SkxImportedSet set;
  for (const SkxTestRule& rule : rules) {
    SkxImportedRule& imported = set.rules.emplace_back();
    imported.isAllow = rule.isAllow;
    if (rule.isForGroup) imported.user = CkxSid::FromUtf8(kGroup);
    imported.conditions = {ConditionOf(rule.path)};
    for (const SkxTestPath& path : rule.exceptions) imported.exceptions.push_back(ConditionOf(path));
  }
  return set;
}

std::string XmlOf(const KxTestRules& rules) {
  std::string xml = R"(<RuleCollection Type="Exe" EnforcementMode="Enabled">)";
  for (size_t i = 0; i < rules.size(); ++i) {
    const auto condition = [](const SkxTestPath& path) {
      return "<FilePathCondition Path=\"" + KxText_ToUtf8(path.pattern) + "\"/>";
    };
    xml += "<FilePathRule Id=\"" + std::to_string(i) + "\" UserOrGroupSid=\"S-1-1-0\" Action=\"" +
           (rules[i].isAllow ? "Allow" : "Deny") + "\"><Conditions>" + condition(rules[i].path) +
           "</Conditions><Exceptions>";
    for (const SkxTestPath& path : rules[i].exceptions) xml += condition(path);
    xml += "</Exceptions></FilePathRule>";
  }
  return xml + "</RuleCollection>";
}

/// The first policy that applies.
bool IsAllowedInOrder(const std::vector<SkxOrderedPolicy>& policies, const WCHAR* file, bool isMember) {
  for (const SkxOrderedPolicy& policy : policies) {
    const auto takes = [&](const SkxFileCondition& condition) {
      return !condition.path || KxUtil_MatchStr(condition.path->glob, file, false, EkxStrCompareAs::StrWildcard);
    };
    if (policy.user && !isMember) continue;
    const bool isDefault = policy.part == SkxOrderedPolicy::Part::Default;
    if (isDefault || std::any_of(policy.conditions.begin(), policy.conditions.end(), takes)) return policy.isAllow;
  }
  ADD_FAILURE() << "nothing is left to the default";
  return true;
}

bool IsExact(const SkxImportedSet& set) {
  return std::all_of(set.rules.begin(), set.rules.end(),
                     [](const SkxImportedRule& rule) { return rule.status == EkxImportStatus::Exact; });
}

/// An exact order decides as the rules do; any other never allows what they deny.
TEST(RuleOrder, DecidesAsTheRulesAreDocumented) {
  constexpr uint32_t kRuns = 6000;
  uint32_t exact = 0;
  for (uint32_t seed = 0; seed < kRuns; ++seed) {
    const KxTestRules rules = RandomRules(seed, true);
    SkxImportedSet set = SetOf(rules);
    const std::vector<SkxOrderedPolicy> policies = KxRuleOrder_Policies(set);
    exact += IsExact(set) ? 1U : 0U;
    for (size_t file = 0; file < std::size(kFiles); ++file) {
      for (const bool isMember : {false, true}) {
        const bool isAllowed = IsAllowedInOrder(policies, kFiles[file], isMember);
        if (!isAllowed && !IsExact(set)) continue;
        ASSERT_EQ(isAllowed, IsAllowed(rules, file, isMember)) << seed << XmlOf(rules) << file << isMember;
      }
    }
  }
  EXPECT_GT(exact, kRuns * 8 / 10);  // else this shows little
  EXPECT_LT(exact, kRuns);           // some say that they cannot be ordered
}

/// The same through the image, of which each decision is the library's.
TEST(RuleOrder, ImagesDecideAsTheRulesAreDocumented) {
  for (uint32_t seed = 0; seed < 150; ++seed) {
    const KxTestRules rules = RandomRules(seed, false);
    const CkxTestImported imported(EkxImportKind::AppLocker, XmlOf(rules));
    const bool isExact = IsExact(imported.result.policy.sets[0]);
    for (size_t file = 0; file < std::size(kFiles); ++file) {
      const std::string decision =
          imported.Decide(nlohmann::json{{"kind", "file"}, {"path", KxText_ToUtf8(kFiles[file])}}.dump());
      if (decision == "block" && !isExact) continue;
      ASSERT_EQ(decision, IsAllowed(rules, file, false) ? "run" : "block") << seed << XmlOf(rules) << file;
    }
  }
}

TEST(RuleOrder, NoRulesJudgeNothing) {
  SkxImportedSet none;
  EXPECT_TRUE(KxRuleOrder_Policies(none).empty());
}

/// Many exceptions and many rules end in time, and what is not compared any more is not taken for certain.
TEST(RuleOrder, ManyExceptionsAreGivenUp) {
  SkxImportedSet set;
  for (int i = 0; i < 400; ++i) {
    SkxImportedRule& rule = set.rules.emplace_back();
    rule.isAllow = true;
    rule.conditions = {ConditionOf({KXW("C:\\A\\*"), 0})};
    for (int j = 0; j < 100; ++j) rule.exceptions.push_back(ConditionOf({KXW("D:\\*"), 0}));
  }
  const size_t policies = KxRuleOrder_Policies(set).size();
  EXPECT_GT(policies, 1U);
  EXPECT_FALSE(IsExact(set));
}

}  // namespace
