// Groups that link to groups and ask about parents, judged once each: the answers are those of a plain recursion that
// remembers nothing.
#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include <nlohmann/json.hpp>
#include <random>

#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "tests/support/policy_documents.h"

namespace {

using nlohmann::json;

constexpr int kNone = -1;
constexpr unsigned kMaxDepth = 8;

/// A target of a group: a link, or a program by its letter, with conditions on its parents.
struct Target {
  int link = kNone;
  char program = 'a';
  int included = kNone;
  int excluded = kNone;
  bool anyAncestor = false;
};
using Graph = std::vector<std::vector<Target>>;

/// The program's letter, then those of its ancestors.
using Chain = std::string;

std::optional<bool> Matches(const Graph& graph, int group, std::string_view chain, unsigned depth);

/// Nothing: there is no such group, or it lies too deep.
std::optional<bool> AnyMatches(const Graph& graph, int group, std::string_view chain, bool anyAncestor,
                               unsigned depth) {
  for (size_t level = 0; level < (anyAncestor ? chain.size() : 1); ++level) {
    const std::optional<bool> one = Matches(graph, group, chain.substr(level), depth);
    if (!one || *one) return one;
  }
  return false;
}

bool ParentFits(const Graph& graph, const Target& target, std::string_view chain, unsigned depth) {
  if (target.included == kNone && target.excluded == kNone) return true;
  const std::string_view parents = chain.substr(1);
  if (parents.empty()) return false;
  const auto isIn = [&](int group) { return AnyMatches(graph, group, parents, target.anyAncestor, depth); };
  if (target.excluded != kNone && isIn(target.excluded) != false) return false;
  return target.included == kNone || isIn(target.included) == true;
}

std::optional<bool> Matches(const Graph& graph, int group, std::string_view chain, unsigned depth) {
  if (depth == kMaxDepth) return std::nullopt;
  for (const Target& target : graph[static_cast<size_t>(group)]) {
    const bool match = target.link != kNone ? Matches(graph, target.link, chain, depth + 1) == true
                                            : target.program == chain[0] && ParentFits(graph, target, chain, depth + 1);
    if (match) return true;
  }
  return false;
}

Graph RandomGraph(std::minstd_rand& random) {
  Graph graph(2 + random() % 4);
  const auto anyGroup = [&] { return static_cast<int>(random() % graph.size()); };
  for (auto& group : graph) {
    group.resize(1 + random() % 3);
    for (Target& target : group) {
      if (random() % 3 == 0) target.link = anyGroup();
      target.program = static_cast<char>('a' + random() % 3);
      if (random() % 2 == 0) target.included = anyGroup();
      if (random() % 4 == 0) target.excluded = anyGroup();
      target.anyAncestor = random() % 2 == 0;
    }
  }
  return graph;
}

std::string GroupName(int group) { return "g" + std::to_string(group); }

json Document(const Target& target) {
  if (target.link != kNone) return {{"type", "applicationGroup"}, {"group", GroupName(target.link)}};
  json program = {{"type", "executable"}, {"fileName", std::string(1, target.program) + ".exe"}};
  for (const auto& [group, key] : {std::pair(target.included, "included"), {target.excluded, "excluded"}}) {
    if (group == kNone) continue;
    program["parentProcess"][std::string(key) + "Group"] = GroupName(group);
    program["parentProcess"][std::string(key) + "AnyAncestor"] = target.anyAncestor;
  }
  return program;
}

/// One policy a group, so that groups are asked about in one walk at every depth and in every order.
SkxPolicyImage Image(const Graph& graph) {
  json groups = json::array();
  json policies = json::array();
  for (size_t i = 0; i < graph.size(); ++i) {
    json targets = json::array();
    for (const Target& target : graph[i]) targets.push_back(Document(target));
    const int group = static_cast<int>(i);
    groups.push_back({{"name", GroupName(group)}, {"targets", targets}});
    policies.push_back({{"id", i + 1}, {"name", "p"}, {"action", "block"}, {"targets", {Document({.link = group})}}});
  }
  return KxTest_Compile(json({{"applicationGroups", groups}, {"policies", policies}}).dump());
}

json Process(std::string_view chain) {
  json process = {{"kind", "process"}, {"path", "C:\\" + std::string(1, chain[0]) + ".exe"}};
  if (chain.size() > 1) process["parent"] = Process(chain.substr(1));
  return process;
}

TEST(GroupGraph, WhatIsRememberedIsWhatARecursionFinds) {
  std::minstd_rand random(7);
  int matched = 0;
  for (int round = 0; round < 400; ++round) {
    const Graph graph = RandomGraph(random);
    const CkxImageSource source(Image(graph));
    const CkxPolicySourceScope scope(source);
    for (int i = 0; i < 3; ++i) {
      Chain chain;
      do chain += static_cast<char>('a' + random() % 3);
      while (random() % 3 != 0 && chain.size() < 5);
      uint32_t expected = 0;
      for (size_t group = graph.size(); group-- > 0;) {
        if (Matches(graph, static_cast<int>(group), chain, 0) == true) expected = static_cast<uint32_t>(group) + 1;
      }
      const CkxTargetDocument target = CkxTargetDocument::FromJson(Process(chain));
      SkxTriggerPolicyShortInfo info;
      CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info);
      ASSERT_EQ(info.PolicyId, expected) << chain << " in round " << round;
      matched += expected != 0 ? 1 : 0;
    }
  }
  EXPECT_GT(matched, 300);
  EXPECT_LT(matched, 1100);
}

/// Every ancestor is asked about by every group, at every depth: paths without number, judged in no time.
TEST(GroupGraph, PathsWithoutNumberEndInAnAnswer) {
  Graph graph(12);
  for (size_t i = 0; i < graph.size(); ++i) {
    for (size_t other = 0; other < graph.size(); ++other) {
      const int asked = static_cast<int>(other);
      graph[i].push_back({.link = asked});
      graph[i].push_back({.program = 'a', .included = asked, .anyAncestor = true});
    }
  }
  const CkxImageSource source(Image(graph));
  const CkxPolicySourceScope scope(source);
  const CkxTargetDocument target = CkxTargetDocument::FromJson(Process(Chain(60, 'a')));
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info, outcome));
  EXPECT_EQ(outcome, EkxEvaluationOutcome::NoPolicyApplies);

  const uint64_t limit = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(10000);
  EXPECT_FALSE(CkxSharedPoliciesData::GetTargetPolicyAction(target.Target(), info, outcome));
  EXPECT_EQ(outcome, EkxEvaluationOutcome::NotAnswered);
  EXPECT_EQ(KxUtil_LastFault(), EkxEvaluationFault::WorkLimit);
  KxUtil_SetWorkLimit(limit);
}

}  // namespace
