#include "Agent/engine/kx_publish/witness/witness.h"

#include <kx_util/evaluation_observer.h>
#include <kx_util/shared_policies_data.h>
#include <kx_util/shared_policy.h>

#include <algorithm>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

/// Documents that are tried for one policy.
constexpr size_t kMaxTried = 4000;

constexpr const char* kNoTarget = "it has no target that anything can match";
constexpr const char* kWords[] = {"found", "taken before", "not built", "no part"};

/// The image as if there were no other policy, and the policy were everybody's.
SkxPolicyImage Alone(const SkxPolicyImage& image, std::span<const unsigned char> record) {
  SkxPolicyImage alone;
  alone.policies = {1, 0, 0, 0};
  alone.policies->insert(alone.policies->end(), record.begin(), record.end());
  alone.appGroups = image.appGroups;
  alone.alerts = image.alerts;
  return alone;
}

std::optional<CkxTargetDocument> Read(const KxFacts& document) {
  std::string ignored;
  return KxWitness_Target(document, ignored);
}

/// The check that ended the last target that was asked.
class FailedCheck : public IkxEvaluationObserver {
 public:
  void OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) override {
    text = std::string(property) + ": expected " + KxText_ToUtf8(expected) + ", found " + KxText_ToUtf8(actual);
  }
  void OnTarget(const SkxObservedTarget&, bool) override {}
  void OnPolicy(const SkxObservedPolicy&, EkxPolicyOutcome) override {}
  void OnFault(std::string_view line) override { text = line; }

  std::string text;
};

std::string FailureOf(const SkxPolicyImage& image, const KxFacts& document) {
  std::string fault;
  const std::optional<CkxTargetDocument> target = KxWitness_Target(document, fault);
  if (!target) return "no document can say what it asks for: " + fault;
  const CkxImageSource source(image);
  const CkxPolicySourceScope scope(source);
  const CkxMachineFactsScope machine(target->Machine());
  FailedCheck failed;
  const CkxEvaluationObserverScope watching(failed);
  SkxTriggerPolicyShortInfo info;
  EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
  CkxSharedPoliciesData::GetTargetPolicyAction(target->Target(), info, outcome);
  return failed.text;
}

/// Every member and element below `json` that may go, the inner ones last: `visit(parent, key)`. The type comes first,
/// since a path tells it, and the path last, since people read it first.
template <class Visit>
void ForEachPart(KxFacts& json, Visit visit) {
  if (json.is_object()) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : json.items()) keys.push_back(key);
    const auto rank = [](const std::string& key) { return key == "targetType" ? 0 : key == "path" ? 2 : 1; };
    std::stable_sort(keys.begin(), keys.end(),
                     [&](const std::string& a, const std::string& b) { return rank(a) < rank(b); });
    for (const std::string& key : keys) {
      if (key == "kind" || visit(json, KxFacts(key))) continue;
      ForEachPart(json[key], visit);
    }
  } else if (json.is_array()) {
    for (size_t i = json.size(); i-- != 0;) {
      if (!visit(json, KxFacts(i))) ForEachPart(json[i], visit);
    }
  }
}

}  // namespace

const char* KxWitness_Word(EkxWitness witness) { return kWords[static_cast<size_t>(witness)]; }

CkxWitnesses::CkxWitnesses(const SkxPolicyImage& image, const SkxApplicableRows& applicable)
    : _image(image),
      _applicable(applicable),
      _models(KxImage_Models(image)),
      _candidates(_models, applicable),
      _judge(image) {
  for (size_t i = 0; i < _models.policies.size(); ++i) {
    const uint32_t id = KxImage_PolicyId(_models.policies[i].bytes);
    if (!_indexOf.try_emplace(id, i).second) _sharedIds.insert(id);
  }
}

std::optional<CkxTargetDocument> KxWitness_Target(const KxFacts& document, std::string& fault) {
  try {
    return CkxTargetDocument::Parse(document.dump());
  } catch (const CkxDocumentFault& caught) {
    fault = caught.Line();
    return std::nullopt;
  }
}

KxFacts KxWitness_Smallest(const KxFacts& document, const std::function<bool(const KxFacts&)>& holds) {
  KxFacts smallest = document;
  ForEachPart(smallest, [&](KxFacts& parent, const KxFacts& key) {
    const KxFacts before = parent;
    if (key.is_string()) {
      parent.erase(key.get<std::string>());
    } else {
      parent.erase(key.get<size_t>());
    }
    if (holds(smallest)) return true;
    parent = before;
    return false;
  });
  return smallest;
}

nlohmann::ordered_json KxWitness_Ordered(const KxFacts& document) {
  nlohmann::ordered_json ordered;
  for (const char* const key : {"kind", "path", "targetType"}) {
    if (document.contains(key)) ordered[key] = document[key];
  }
  for (const auto& [key, value] : document.items()) {
    if (!ordered.contains(key)) ordered[key] = value;
  }
  return ordered;
}

std::string CkxWitnesses::PolicyText(size_t policy) const {
  const auto& record = _models.policies[policy];
  const std::string id = "policy " + std::to_string(KxImage_PolicyId(record.bytes));
  return record.model ? id + " " + KxText_PrintableQuoted(KxText_Printable(record.model->name)) : id;
}

std::optional<SkxJudgement> CkxWitnesses::Judged(const KxFacts& document) const {
  const std::optional<CkxTargetDocument> target = Read(document);
  if (!target) return std::nullopt;
  return _judge.Judge(*target);
}

bool CkxWitnesses::Decides(const KxFacts& document, uint32_t policyId) const {
  const std::optional<SkxJudgement> judged = Judged(document);
  return judged && judged->matched && judged->info.PolicyId == policyId;
}

std::string CkxWitnesses::WhyNoPart(const SkxPolicyModel& policy) const {
  switch (policy.action) {
    case EkxPolicyAction::Run:
    case EkxPolicyAction::Block:
    case EkxPolicyAction::Elevate:
    case EkxPolicyAction::Trust:
    case EkxPolicyAction::RunAndCollectEvents:
      break;
    case EkxPolicyAction::Exclude:
      if (std::get<SkxExcludeParams>(policy.params).excludeType == 0) break;
      return "an exclusion of another kind";
    default:
      return "its action is none that decides";
  }
  if (!policy.active) return "it is not active";
  const bool isForSomebody =
      _applicable.empty() || std::any_of(_applicable.begin(), _applicable.end(), [&](const auto& row) {
        const std::vector<uint32_t>& ids = row.second;
        return !ids.empty() && ids.front() != 0 && std::find(ids.begin(), ids.end(), policy.id) != ids.end();
      });
  return isForSomebody ? "" : "it is applicable to nobody";
}

SkxWitness CkxWitnesses::Of(size_t index) const {
  const SkxImageRecord<SkxPolicyModel>& record = _models.policies[index];
  SkxWitness witness;
  witness.policyId = KxImage_PolicyId(record.bytes);
  if (!record.model) {
    witness.found = EkxWitness::NoPart;
    witness.why = "its record cannot be read";
    return witness;
  }
  const SkxPolicyModel& policy = *record.model;
  witness.policyName = KxText_ToUtf8(policy.name);
  witness.why = WhyNoPart(policy);
  if (!witness.why.empty()) {
    witness.found = EkxWitness::NoPart;
    return witness;
  }
  if (_sharedIds.contains(policy.id)) {
    witness.why = "another policy has its id, so that no decision tells them apart";
    return witness;
  }

  std::optional<CkxImageJudge> alone;
  KxFacts first;
  const auto visit = [&](const KxFacts& document) {
    if (first.is_null()) first = document;
    const std::optional<CkxTargetDocument> target = Read(document);
    if (!target) return true;
    const SkxJudgement judged = _judge.Judge(*target);
    if (judged.matched && judged.info.PolicyId == policy.id) {
      witness.found = EkxWitness::Found;
      const auto decides = [&](const KxFacts& part) { return Decides(part, policy.id); };
      witness.document = KxWitness_Ordered(KxWitness_Smallest(document, decides));
      return false;
    }
    if (judged.fault == EkxEvaluationFault::WorkLimit) {  // as would the next ones
      witness.why = KxUtil_FaultText(judged.fault);
      return false;
    }
    const auto taker = judged.matched ? _indexOf.find(uint32_t{judged.info.PolicyId}) : _indexOf.end();
    if (taker == _indexOf.end() || taker->second > index) return true;
    if (!alone) alone.emplace(Alone(_image, record.bytes));
    if (!alone->Judge(*target).matched) return true;
    if (witness.takers.empty()) witness.document = KxWitness_Ordered(document);
    witness.takers.insert(taker->second);
    return true;
  };
  const std::vector<std::string> unbuilt = _candidates.ForEach(policy, kMaxTried, visit);
  if (witness.found == EkxWitness::Found) {
    witness.takers.clear();
  } else if (!witness.takers.empty()) {
    witness.found = EkxWitness::TakenBefore;
  } else if (!witness.why.empty()) {
    return witness;
  } else if (!unbuilt.empty()) {
    witness.why = unbuilt.front();
  } else if (first.is_null()) {
    witness.why = kNoTarget;
  } else {
    witness.why = FailureOf(Alone(_image, record.bytes), first);
    if (witness.why.empty()) witness.why = kNoTarget;
  }
  return witness;
}

std::vector<nlohmann::json> CkxWitnesses::Bounds(size_t policy, size_t most) const {
  std::vector<nlohmann::json> documents;
  const auto& model = _models.policies[policy].model;
  if (!model || !WhyNoPart(*model).empty()) return documents;
  _candidates.ForEach(*model, most, [&](const KxFacts& document) {
    documents.push_back(document);
    return true;
  });
  return documents;
}
