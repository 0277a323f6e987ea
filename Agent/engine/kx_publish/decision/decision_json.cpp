#include "Agent/engine/kx_publish/decision/decision_json.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/explanation_json.h"
#include "Agent/engine/kx_publish/decision/json_text.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/hex.h"
#include "Common_CPP/util/text.h"

using nlohmann::ordered_json;

namespace {

using Info = SkxTriggerPolicyShortInfo;

/// Enough for an answer with all members and texts of usual length.
constexpr size_t kUsualBytes = 1536;

void AddField(std::string& json, const WCHAR* field, size_t bytes) {
  KxJsonText_AddText(json, KxText_ToUtf8(CkxTextView::FromBytes(field, bytes)));
}

void AddGuid(std::string& json, GUID id) { KxJsonText_AddText(json, KxGuid_ToUtf8(id)); }

/// An enumeration's number.
template <class Code>
void AddCode(std::string& json, Code code) {
  KxJsonText_AddNumber(json, static_cast<std::underlying_type_t<Code>>(code));
}

void AddAlerts(std::string& json, const std::vector<SkxPolicyAlertLink>& alerts) {
  json += '[';
  for (const SkxPolicyAlertLink& link : alerts) {
    if (json.back() != '[') json += ',';
    json += "{\"trigger\":";
    AddCode(json, link.trigger);
    KxJsonText_AddKey(json, "type");
    AddCode(json, link.type);
    KxJsonText_AddKey(json, "id");
    AddGuid(json, link.alertId);
    json += '}';
  }
  json += ']';
}

/// The bytes of the record that its rules leave undefined are written as 0.
void AddInfo(std::string& json, const Info& info) {
  Info canonical = info;
  canonical.SetGpId(CkxTextView::FromBytes(info.GpId, sizeof(info.GpId)));
  canonical.SetKxGpoId(CkxTextView::FromBytes(info.KxGpoId, sizeof(info.KxGpoId)));
  KxJsonText_AddText(json, KxHex_FromBytes({reinterpret_cast<const unsigned char*>(&canonical), sizeof(canonical)}));
}

struct Member {
  const char* name;
  void (*add)(std::string& json, const SkxDecision& decision, const Info& info);
};

/// What is said of a policy that applies; where none does, the first alone.
constexpr Member kMembers[] = {
    {"matched", [](auto& json, auto& decision, auto&) { KxJsonText_AddBool(json, decision.matched); }},
    {"policyId", [](auto& json, auto&, auto& info) { KxJsonText_AddNumber(json, info.PolicyId); }},
    {"policyName", [](auto& json, auto& decision, auto&) { KxJsonText_AddText(json, decision.policyName); }},
    {"action", [](auto& json, auto&, auto& info) { AddCode(json, info.PolicyAction); }},
    {"actionName",
     [](auto& json, auto& decision, auto&) { KxJsonText_AddText(json, KxDecision_ActionName(decision)); }},
    {"originalAction", [](auto& json, auto&, auto& info) { AddCode(json, info.OriginalPolicyAction); }},
    {"targetType", [](auto& json, auto&, auto& info) { AddCode(json, info.TargetType); }},
    {"targetId", [](auto& json, auto&, auto& info) { AddGuid(json, info.PolicyTargetId); }},
    {"gpId", [](auto& json, auto&, auto& info) { AddField(json, info.GpId, sizeof(info.GpId)); }},
    {"kxGpoId", [](auto& json, auto&, auto& info) { AddField(json, info.KxGpoId, sizeof(info.KxGpoId)); }},
    {"guiType", [](auto& json, auto&, auto& info) { KxJsonText_AddNumber(json, info.GuiType); }},
    {"reportUsageState", [](auto& json, auto&, auto& info) { KxJsonText_AddNumber(json, info.ReportUsageState); }},
    {"policyAutomation", [](auto& json, auto&, auto& info) { KxJsonText_AddBool(json, info.PolicyAutomation != 0); }},
    {"inheritable", [](auto& json, auto&, auto& info) { KxJsonText_AddBool(json, info.Inheritable != 0); }},
    {"protectInstalledFiles",
     [](auto& json, auto&, auto& info) { KxJsonText_AddBool(json, info.ProtectInstalledFiles != 0); }},
    {"restrictFileDlg", [](auto& json, auto&, auto& info) { KxJsonText_AddBool(json, info.RestrictFileDlg != 0); }},
    {"alerts", [](auto& json, auto& decision, auto&) { AddAlerts(json, decision.alerts); }},
    {"info", [](auto& json, auto&, auto& info) { AddInfo(json, info); }},
};
static_assert(std::size(kMembers) <= 32, "a bit each");

constexpr std::string_view kAlwaysThere[] = {"id", "error", "explain", "explainLeftOut"};

KxDecisionMembers BitOf(std::string_view name) {
  for (size_t i = 0; i < std::size(kMembers); ++i) {
    if (name == kMembers[i].name) return KxDecisionMembers{1} << i;
  }
  if (std::find(std::begin(kAlwaysThere), std::end(kAlwaysThere), name) != std::end(kAlwaysThere)) return 0;
  throw CkxDocumentFault("", "an answer has no \"" + std::string(name) + "\"");
}

void AddMembers(std::string& json, const SkxDecision& decision, KxDecisionMembers wanted) {
  const std::span<const Member> said = std::span(kMembers).first(decision.matched ? std::size(kMembers) : 1);
  for (const Member& member : said) {
    if ((wanted & 1) != 0) {
      KxJsonText_AddKey(json, member.name);
      member.add(json, decision, decision.info);
    }
    wanted >>= 1;
  }
}

}  // namespace

KxDecisionMembers KxDecisionMembers_Of(const std::string& list) {
  KxDecisionMembers members = 0;
  for (size_t from = 0; from <= list.size();) {
    const size_t end = std::min(list.find(',', from), list.size());
    members |= BitOf(std::string_view(list).substr(from, end - from));
    from = end + 1;
  }
  return members;
}

std::string KxDecision_ToJson(const SkxDecision& decision) { return KxDecision_ToJson(decision, kKxAllMembers); }

std::string KxDecision_ToJson(const SkxDecision& decision, KxDecisionMembers members) {
  std::string json;
  json.reserve(kUsualBytes);
  json += "{\"id\":";
  json += decision.idJson;
  AddMembers(json, decision, members);
  if (!decision.error.empty()) {  // rare, and its text may be anything
    KxJsonText_AddKey(json, "error");
    json += nlohmann::json(decision.error).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
  if (decision.explanation) {
    KxJsonText_AddKey(json, "explain");
    KxExplanation_AddJson(json, *decision.explanation);
  }
  if (decision.policiesLeftOut != 0) {
    KxJsonText_AddKey(json, "explainLeftOut");
    json += std::to_string(decision.policiesLeftOut);
  }
  json += '}';
  return json;
}
