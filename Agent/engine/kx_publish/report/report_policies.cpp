#include "Agent/engine/kx_publish/report/report_policies.h"

#include <kx_util/shared_policy.h>
#include <kx_util/shared_policy_target.h>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/document_out.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/lint/lint_records.h"
#include "Agent/engine/kx_publish/record/decode.h"
#include "Agent/engine/kx_publish/report/report_words.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/printable.h"

namespace {

using Json = nlohmann::ordered_json;

Json LinesOf(const Json& object, std::initializer_list<const char*> shownElsewhere) {
  Json lines = Json::array();
  for (const SkxReportLine& line : KxReport_Lines(object, shownElsewhere)) lines.push_back({line.label, line.text});
  return lines;
}

Json TargetsOf(const Json& element) {
  Json targets = Json::array();
  const auto list = element.find("targets");
  if (list == element.end()) return targets;
  for (const Json& target : *list) {
    targets.push_back({{"type", KxReport_Label(target["type"].get<std::string>())},
                       {"group", target.contains("group") ? Json(KxText_Printable(target["group"].get<std::string>()))
                                                          : Json(nullptr)},
                       {"lines", LinesOf(target, {"type", "id", "group"})}});
  }
  return targets;
}

/// What a record says, as the document that it would be. Nothing, with the reason in `why`, when none can say it.
template <class Model>
std::optional<Json> Written(const SkxLintRecord& record, bool (*decode)(std::span<const unsigned char>, Model&),
                            const CkxAuthorNames& names, const SkxDocumentNames& known, Model& model,
                            std::string& why) {
  try {
    if (!record.isReadable) {
      why = "The record is damaged: it applies to nothing.";
    } else if (!decode(record.bytes, model)) {
      why = "It is of a kind that has no words here; kxpolicy show prints it.";
    } else {
      names.GiveTo(model);
      return CkxDocumentOut::WriteWhole(model, known);
    }
  } catch (const CkxDocumentFault& fault) {
    why = "It cannot be put in words: " + KxText_Printable(fault.Line()) + "; kxpolicy show prints it.";
  }
  return std::nullopt;
}

bool AppliesToEverything(const SkxPolicyModel& policy) {
  const bool mayDoWithout =
      policy.action == EkxPolicyAction::Trust || policy.action == EkxPolicyAction::RunAndCollectEvents;
  return mayDoWithout && policy.targets.empty();
}

class Publication {
 public:
  Publication(const SkxPolicyImage& image, const CkxAuthorNames& names) : _names(names), _records(image, _unused) {
    Register(_records.Groups(), KxDecode_AppGroup, [this](const SkxAppGroupModel& group) {
      _known.groups.Add({group.name, group.id});
    });
    Register(_records.Alerts(), KxDecode_Alert, [this](const SkxAlertModel& alert) {
      _known.alerts.Add({alert.name, alert.id, static_cast<uint16_t>(KxAlertKind_Of(alert.body).type)});
    });
  }

  Json Policies() const {
    return Each(_records.Policies(), [this](const SkxLintRecord& record) { return Policy(record); });
  }
  Json Groups() const {
    return Each(_records.Groups(), [this](const SkxLintRecord& record) {
      return Named<SkxAppGroupBufHeader>(record, KxDecode_AppGroup, &CkxAuthorNames::Group, "targets", TargetsOf);
    });
  }
  Json Alerts() const {
    const auto settingsOf = [](const Json& alert) { return LinesOf(alert, {"id", "name"}); };
    return Each(_records.Alerts(), [&](const SkxLintRecord& record) {
      return Named<SkxAlertBufHeader>(record, KxDecode_Alert, &CkxAuthorNames::Alert, "lines", settingsOf);
    });
  }

 private:
  using FindName = const SkxAuthorName* (CkxAuthorNames::*)(const GUID& id) const;

  template <class Model, class Add>
  void Register(const std::vector<SkxLintRecord>& records, bool (*decode)(std::span<const unsigned char>, Model&),
                Add add) const {
    for (const SkxLintRecord& record : records) {
      Model model;
      if (!record.isReadable || !decode(record.bytes, model)) continue;
      _names.GiveTo(model);
      add(model);
    }
  }

  template <class Make>
  static Json Each(const std::vector<SkxLintRecord>& records, Make make) {
    Json list = Json::array();
    for (const SkxLintRecord& record : records) list.push_back(make(record));
    return list;
  }

  Json Policy(const SkxLintRecord& record) const {
    const auto header = KxBytes_Load<SkxPolicyBufHeader>(record.bytes.data());
    SkxPolicyModel model;
    std::string why;
    const std::optional<Json> written = Written(record, KxDecode_Policy, _names, _known, model, why);
    const auto* const exclusion = std::get_if<SkxExcludeParams>(&model.params);
    const bool isPassedOver = exclusion != nullptr && exclusion->excludeType != 0;
    const bool isDeciding = (KxActionBit_Of(header.action) & kKxDecidingActions) != 0 && !isPassedOver;

    Json policy = {{"id", uint32_t{header.id}},
                   {"name", KxText_Printable(record.policyName.value_or(""))},
                   {"action", KxText_Printable(KxUtil_PolicyActionStr(header.action))},
                   {"active", header.active != 0},
                   {"decides", record.isReadable && header.active != 0 && isDeciding}};
    if (!why.empty()) policy["why"] = why;
    if (!written) return policy;
    if (const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, model.action)) {
      policy["does"] = kind->meaning;
      policy["withTargets"] = kind->withTargets;
    }
    policy["everything"] = AppliesToEverything(model);
    policy["lines"] = LinesOf(*written, {"id", "name", "action", "active", "order", "targets"});
    policy["targets"] = TargetsOf(*written);
    return policy;
  }

  /// A group or an alert. What it says is under `key`, as `tell` tells it.
  template <class Header, class Model, class Tell>
  Json Named(const SkxLintRecord& record, bool (*decode)(std::span<const unsigned char>, Model&), FindName find,
             const char* key, Tell tell) const {
    const GUID id = KxBytes_Load<Header>(record.bytes.data()).id;
    const SkxAuthorName* const author = (_names.*find)(id);
    const std::string called = author != nullptr ? KxText_Printable(author->name) : "";
    Model model;
    std::string why;
    const std::optional<Json> written = Written(record, decode, _names, _known, model, why);
    Json named = {{"id", KxGuid_ToUtf8(id)}, {"name", called.empty() ? KxGuid_ToUtf8(id) : called}};
    if (!why.empty()) named["why"] = why;
    if (written) named[key] = tell(*written);
    return named;
  }

  const CkxAuthorNames& _names;
  CkxFindings _unused;  // they are asked for apart
  const CkxLintRecords _records;
  SkxDocumentNames _known;
};

/// The rows as they count: one that begins with 0 is for nobody, whatever follows.
Json UsersOf(const std::optional<std::string>& applicable) {
  Json users = Json::array();
  if (!applicable) return users;
  for (const auto& [user, ids] : KxApplicable_Parse(*applicable)) {
    const bool isForNobody = !ids.empty() && ids.front() == 0;
    users.push_back({{"user", user}, {"policies", isForNobody ? Json::array() : Json(ids)}});
  }
  return users;
}

const char* SectionName(EkxPolicySection section) {
  if (section == EkxPolicySection::Policies) return "policies";
  return section == EkxPolicySection::AppGroups ? "groups" : "alerts";
}

Json FindingsOf(const std::vector<SkxFinding>& findings) {
  Json list = Json::array();
  for (const SkxFinding& finding : findings) {
    list.push_back({{"severity", finding.severity == EkxSeverity::Error ? "Error" : "Warning"},
                    {"rule", finding.rule},
                    {"section", SectionName(finding.section)},
                    {"record", finding.record},
                    {"path", KxText_Printable(finding.path)},
                    {"message", KxText_Printable(finding.message)}});
  }
  return list;
}

}  // namespace

Json KxReport_Policies(const std::string& title, const SkxPolicyImage& image, const CkxAuthorNames& names,
                       const std::vector<SkxFinding>& findings) {
  const Publication publication(image, names);
  return {{"title", KxText_Printable(title)}, {"policies", publication.Policies()}, {"groups", publication.Groups()},
          {"alerts", publication.Alerts()},   {"users", UsersOf(image.applicable)}, {"findings", FindingsOf(findings)}};
}
