#include "Agent/engine/kx_publish/compare/decision_changes.h"

#include <kx_util/shared_policy.h>

#include <algorithm>
#include <array>
#include <bit>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/image_models.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using Info = SkxTriggerPolicyShortInfo;

std::string FieldText(const WCHAR* field, size_t bytes) { return KxText_ToUtf8(CkxTextView::FromBytes(field, bytes)); }

/// What a policy asks for besides its action.
struct Detail {
  const char* name;
  KxDecided (*of)(const Info& info);
};
constexpr Detail kDetails[] = {
    {"originalAction", [](const Info& info) { return KxDecided(static_cast<int32_t>(info.OriginalPolicyAction)); }},
    {"gpId", [](const Info& info) { return KxDecided(FieldText(info.GpId, sizeof(info.GpId))); }},
    {"kxGpoId", [](const Info& info) { return KxDecided(FieldText(info.KxGpoId, sizeof(info.KxGpoId))); }},
    {"guiType", [](const Info& info) { return KxDecided(uint32_t{info.GuiType}); }},
    {"reportUsageState", [](const Info& info) { return KxDecided(uint32_t{info.ReportUsageState}); }},
    {"policyAutomation", [](const Info& info) { return KxDecided(info.PolicyAutomation != 0); }},
    {"inheritable", [](const Info& info) { return KxDecided(info.Inheritable != 0); }},
    {"protectInstalledFiles", [](const Info& info) { return KxDecided(info.ProtectInstalledFiles != 0); }},
    {"restrictFileDlg", [](const Info& info) { return KxDecided(info.RestrictFileDlg != 0); }},
};

/// Without what says only how the policy came to apply.
Info Consequences(const Info& info) {
  Info rest = info;
  rest.TargetType = EkxPolicyTarget::Invalid;
  rest.PolicyTargetId = {};
  rest.SecondaryId = {};
  rest.Reserved313 = 0;
  return rest;
}

auto BytesOf(const Info& info) { return std::bit_cast<std::array<unsigned char, sizeof(Info)>>(info); }

bool AreEqual(const SkxJudgement& a, const SkxJudgement& b) {
  if (a.matched != b.matched) return false;
  if (!a.matched) return a.fault == b.fault;
  return BytesOf(Consequences(a.info)) == BytesOf(Consequences(b.info));
}

KxDecided Decided(const SkxJudgement& judgement, const std::map<uint32_t, std::string>& names) {
  KxDecided decided = {{"matched", judgement.matched}};
  if (!judgement.matched) {
    if (judgement.fault != EkxEvaluationFault::None) decided["error"] = KxUtil_FaultText(judgement.fault);
    return decided;
  }
  const uint32_t id = judgement.info.PolicyId;
  const EkxPolicyAction action = judgement.info.PolicyAction;
  decided["policyId"] = id;
  const auto name = names.find(id);
  if (name != names.end()) decided["policyName"] = name->second;
  decided["action"] = static_cast<int32_t>(action);
  decided["actionName"] = KxText_ToUtf8(KxUtil_PolicyActionStr(action));
  return decided;
}

void AddDetails(const SkxJudgement& old, const SkxJudgement& now, SkxDecisionChange& change) {
  for (const Detail& detail : kDetails) {
    KxDecided was = detail.of(old.info);
    KxDecided is = detail.of(now.info);
    if (was == is) continue;
    change.was[detail.name] = std::move(was);
    change.is[detail.name] = std::move(is);
  }
}

bool IsSamePolicy(const SkxJudgement& old, const SkxJudgement& now) {
  return old.matched && now.matched && old.info.PolicyId == now.info.PolicyId &&
         old.info.PolicyAction == now.info.PolicyAction;
}

std::string SidesText(const SkxDecisionChange& change) {
  const auto text = [](const KxDecided& side) {
    return side.dump(-1, ' ', false, KxDecided::error_handler_t::replace);
  };
  return text(change.was) + "\n" + text(change.is);
}

}  // namespace

CkxDecisionChanges::CkxDecisionChanges(const SkxPolicyImage& was, const SkxPolicyImage& is)
    : _oldNames(NamesOf(was)), _newNames(NamesOf(is)), _old(was), _new(is) {}

CkxDecisionChanges::Names CkxDecisionChanges::NamesOf(const SkxPolicyImage& image) {
  Names names;
  for (const auto& record : KxImage_Models(image).policies) {
    if (record.model) names.try_emplace(record.model->id, KxText_ToUtf8(record.model->name));
  }
  return names;
}

std::optional<SkxDecisionChange> CkxDecisionChanges::ChangeOf(const CkxTargetDocument& document) const {
  const SkxJudgement old = _old.Judge(document);
  const SkxJudgement now = _new.Judge(document);
  if (AreEqual(old, now)) return std::nullopt;
  SkxDecisionChange change = {Decided(old, _oldNames), Decided(now, _newNames), 0, {}};
  if (IsSamePolicy(old, now)) AddDetails(old, now, change);
  return change;
}

std::string CkxDecisionChanges::Sides(const CkxTargetDocument& document) const {
  const std::optional<SkxDecisionChange> change = ChangeOf(document);
  return change ? SidesText(*change) : std::string();
}

SkxDecisionChange* CkxDecisionChanges::Count(const CkxTargetDocument& document) {
  std::optional<SkxDecisionChange> change = ChangeOf(document);
  ++_asked;
  if (!change) return nullptr;
  ++_differing;
  const std::string sides = SidesText(*change);
  auto kept = _changes.find(sides);
  if (kept == _changes.end()) {
    const bool isPlace = _changes.size() < kMaxChanges;
    kept = isPlace ? _changes.try_emplace(sides, *std::move(change)).first : _changes.try_emplace(std::string()).first;
  }
  ++kept->second.count;
  return &kept->second;
}

std::vector<SkxDecisionChange> CkxDecisionChanges::Changes() const {
  std::vector<SkxDecisionChange> changes;
  for (const auto& [sides, change] : _changes) changes.push_back(change);
  std::stable_sort(changes.begin(), changes.end(),
                   [](const SkxDecisionChange& a, const SkxDecisionChange& b) { return a.count > b.count; });
  return changes;
}

KxDecided KxDecided_Read(const nlohmann::json& json, const std::string& pointer) {
  CkxJsonObject object(json, pointer);
  const bool isMatched = object.Required<bool>("matched");
  KxDecided decided = {{"matched", isMatched}};
  std::string text;
  if (isMatched) {
    decided["policyId"] = object.Required<uint32_t>("policyId");
    if (object.Optional("policyName", text)) decided["policyName"] = text;
    decided["action"] = object.Required<int32_t>("action");
    decided["actionName"] = object.Required<std::string>("actionName");
    for (const Detail& detail : kDetails) {
      const nlohmann::json* const value = object.Find(detail.name);
      if (value == nullptr) continue;
      if (!value->is_primitive()) throw CkxDocumentFault(object.PointerTo(detail.name), "must be a single value");
      decided[detail.name] = *value;
    }
  } else if (object.Optional("error", text)) {
    decided["error"] = text;
  }
  object.Finish();
  return decided;
}

std::string KxDecided_Text(const KxDecided& decided) {
  if (decided.is_null()) return "(other changes)";
  if (!decided.value("matched", false)) return decided.value("error", "no policy");
  std::string text = decided.value("actionName", "") + " " + decided.at("policyId").dump();
  if (decided.contains("policyName")) text += " " + decided.value("policyName", "");
  for (const Detail& detail : kDetails) {
    if (decided.contains(detail.name)) text += std::string(", ") + detail.name + " " + decided[detail.name].dump();
  }
  return KxText_Printable(text);
}
