// Answers are written as text; they must be the bytes that a value of the same members prints as.
#include "Agent/engine/kx_publish/decision/decision_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/hex.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::ordered_json;

std::string FieldText(const WCHAR* field, size_t bytes) { return KxText_ToUtf8(CkxTextView::FromBytes(field, bytes)); }

ordered_json TreeOf(const SkxExplainedTarget& target) {
  ordered_json tree = {{"targetId", KxGuid_ToUtf8(target.id)},
                       {"targetType", static_cast<uint32_t>(target.type)},
                       {"outcome", target.matched ? "matched" : "not matched"}};
  if (target.failed) {
    tree["failed"] = {{"property", target.failed->property},
                      {"expected", target.failed->expected},
                      {"actual", target.failed->actual}};
  }
  if (!target.name.empty()) tree["name"] = target.name;
  if (target.number != 0) tree["number"] = target.number;
  if (target.number != 0) tree["of"] = target.of;
  if (target.group) tree["group"] = *target.group;
  return tree;
}

ordered_json TreeOf(const std::vector<SkxExplainedPolicy>& policies) {
  ordered_json list = ordered_json::array();
  for (const SkxExplainedPolicy& policy : policies) {
    ordered_json& tree = list.emplace_back();
    tree = {{"policyId", policy.id},
            {"policyName", policy.name},
            {"action", static_cast<int32_t>(policy.action)},
            {"outcome", KxUtil_PolicyOutcomeText(policy.outcome)},
            {"targets", ordered_json::array()}};
    for (const SkxExplainedTarget& target : policy.targets) tree["targets"].push_back(TreeOf(target));
    if (policy.leftOut != 0) tree["leftOut"] = policy.leftOut;
    if (policy.written) tree["document"] = policy.written->document;
    if (policy.written) tree["pointer"] = policy.written->pointer;
  }
  return list;
}

/// The members of an answer, as docs/kxpolicy.md has them.
ordered_json Tree(const SkxDecision& decision) {
  ordered_json answer = {{"id", ordered_json::parse(decision.idJson)}, {"matched", decision.matched}};
  if (decision.matched) {
    const SkxTriggerPolicyShortInfo& info = decision.info;
    answer["policyId"] = uint32_t{info.PolicyId};
    answer["policyName"] = decision.policyName;
    answer["action"] = static_cast<int32_t>(info.PolicyAction);
    answer["actionName"] = KxDecision_ActionName(decision);
    answer["originalAction"] = static_cast<int32_t>(info.OriginalPolicyAction);
    answer["targetType"] = static_cast<uint32_t>(info.TargetType);
    answer["targetId"] = KxGuid_ToUtf8(GUID{info.PolicyTargetId});
    answer["gpId"] = FieldText(info.GpId, sizeof(info.GpId));
    answer["kxGpoId"] = FieldText(info.KxGpoId, sizeof(info.KxGpoId));
    answer["guiType"] = uint32_t{info.GuiType};
    answer["reportUsageState"] = uint32_t{info.ReportUsageState};
    answer["policyAutomation"] = info.PolicyAutomation != 0;
    answer["inheritable"] = info.Inheritable != 0;
    answer["protectInstalledFiles"] = info.ProtectInstalledFiles != 0;
    answer["restrictFileDlg"] = info.RestrictFileDlg != 0;
    answer["alerts"] = ordered_json::array();
    for (const SkxPolicyAlertLink& link : decision.alerts) {
      answer["alerts"].push_back({{"trigger", static_cast<uint32_t>(link.trigger)},
                                  {"type", static_cast<uint16_t>(link.type)},
                                  {"id", KxGuid_ToUtf8(GUID{link.alertId})}});
    }
    SkxTriggerPolicyShortInfo canonical = info;
    canonical.SetGpId(CkxTextView::FromBytes(info.GpId, sizeof(info.GpId)));
    canonical.SetKxGpoId(CkxTextView::FromBytes(info.KxGpoId, sizeof(info.KxGpoId)));
    answer["info"] = KxHex_FromBytes({reinterpret_cast<const unsigned char*>(&canonical), sizeof(canonical)});
  }
  if (!decision.error.empty()) answer["error"] = decision.error;
  if (decision.explanation) answer["explain"] = TreeOf(*decision.explanation);
  if (decision.policiesLeftOut != 0) answer["explainLeftOut"] = decision.policiesLeftOut;
  return answer;
}

std::string RandomText(std::mt19937& random) {
  static constexpr std::string_view kPieces[] = {"policy ",          "\"",         "\\",       "\b\f\n\r\t",
                                                 "\x01\x1F\x7F",     "/",          "\xC3\xA9", "\xE2\x80\xA8",
                                                 "\xF0\x9F\x98\x80", "C:\\Tools\\"};
  std::string text;
  for (size_t pieces = random() % 6; pieces != 0; --pieces) text += kPieces[random() % std::size(kPieces)];
  return text;
}

void Fill(void* bytes, size_t size, std::mt19937& random) {
  for (size_t i = 0; i < size; ++i) static_cast<unsigned char*>(bytes)[i] = static_cast<unsigned char>(random());
}

SkxExplainedPolicy RandomPolicy(std::mt19937& random) {
  SkxExplainedPolicy policy;
  policy.id = static_cast<uint32_t>(random());
  policy.name = RandomText(random);
  policy.outcome = EkxPolicyOutcome::Applies;
  policy.leftOut = random() % 2;
  if (random() % 2 == 0) policy.written = {RandomText(random), RandomText(random)};
  for (size_t targets = random() % 3; targets != 0; --targets) {
    SkxExplainedTarget& target = policy.targets.emplace_back();
    target.matched = random() % 2 == 0;
    if (random() % 2 == 0) target.failed = {RandomText(random), RandomText(random), RandomText(random)};
    target.name = RandomText(random);
    target.number = random() % 2;
    target.of = random() % 9;
    if (random() % 2 == 0) target.group = RandomText(random);
  }
  return policy;
}

/// Codes and fields of any bytes, as damaged records have them.
SkxDecision RandomDecision(std::mt19937& random) {
  SkxDecision decision;
  decision.idJson = ordered_json(RandomText(random)).dump();
  decision.matched = random() % 4 != 0;
  Fill(&decision.info, sizeof(decision.info), random);
  decision.policyName = RandomText(random);
  decision.alerts.resize(random() % 4);
  for (SkxPolicyAlertLink& link : decision.alerts) Fill(&link, sizeof(link), random);
  if (random() % 4 == 0) decision.error = RandomText(random);
  if (random() % 4 == 0) decision.explanation.emplace().resize(random() % 3, RandomPolicy(random));
  if (random() % 4 == 0) decision.policiesLeftOut = random();
  return decision;
}

TEST(DecisionJson, IsWhatATreeOfItsMembersPrints) {
  std::mt19937 random(22);
  for (int i = 0; i < 5000; ++i) {
    const SkxDecision decision = RandomDecision(random);
    ASSERT_EQ(KxDecision_ToJson(decision), Tree(decision).dump());
  }
}

TEST(DecisionJson, EveryCharacterIsEscapedAsATreeDoes) {
  for (uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const std::string text = "a" + KxText_ToUtf8(KxWString(1, static_cast<WCHAR>(unit))) + "b";
    std::string json;
    KxJsonText_AddText(json, text);
    ASSERT_EQ(json, ordered_json(text).dump()) << unit;
  }
  for (const int64_t number : {INT64_MIN, int64_t{-1}, int64_t{0}, INT64_MAX}) {
    std::string json;
    KxJsonText_AddNumber(json, number);
    EXPECT_EQ(json, ordered_json(number).dump());
  }
}

TEST(DecisionJson, HasTheMembersThatAreAskedFor) {
  std::mt19937 random(23);
  for (int i = 0; i < 200; ++i) {
    const SkxDecision decision = RandomDecision(random);
    const ordered_json all = Tree(decision);
    ordered_json wanted;
    std::string list = "id";
    for (const auto& [name, value] : all.items()) {
      const bool isAlways = name == "id" || name == "error" || name == "explain" || name == "explainLeftOut";
      if (!isAlways && random() % 2 == 0) continue;
      wanted[name] = value;
      list = random() % 2 == 0 ? list + "," + name : name + "," + list;
    }
    ASSERT_EQ(KxDecision_ToJson(decision, KxDecisionMembers_Of(list)), wanted.dump()) << list;
  }
  for (const char* const list : {"", "id,", ",id", "policyid", "id, action", "all"}) {
    EXPECT_THROW(KxDecisionMembers_Of(list), CkxDocumentFault) << list;
  }
}

}  // namespace
