#include "Agent/engine/kx_publish/lint/lint_takes.h"

#include <kx_util/shared_policy_target_users.h>

#include <algorithm>
#include <limits>
#include <tuple>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::span<const unsigned char>;

/// Of a target of `type`; without a field what each target of the type demands.
uint64_t Feature(EkxPolicyTarget type, size_t field, uint64_t feature) {
  const uint64_t place = (static_cast<uint64_t>(type) << 8 | field) + 1;
  return (feature ^ place * 0xC2B2AE3D27D4EB4F) * 0x9E3779B97F4A7C15;
}
uint64_t Feature(EkxPolicyTarget type) { return Feature(type, 0xFF, 0); }

/// Whether `target` asks for nothing that `other` does not.
bool AsksForLess(const SkxTaker& target, const SkxTaker& other, CkxLintWork& work) {
  auto asked = other.asks.begin();
  return std::all_of(target.asks.begin(), target.asks.end(), [&](const SkxTaker::Ask& ask) {
    while (asked->field != ask.field) ++asked;  // it asks for the same fields at least
    return ask.condition->Takes(*asked->condition, work);
  });
}

/// Groups that a property names are looked up from where it is asked, and only so deep.
bool NamesGroups(const SkxLayoutField& property) {
  return property.nested != nullptr &&
         std::any_of(property.nested->fields.begin(), property.nested->fields.end(),
                     [](const SkxLayoutField& field) { return field.kind == EkxField::GroupId; });
}

/// Collects the targets of a record while it is walked.
class TakersVisitor : public IkxRecordVisitor {
 public:
  void OnField(const SkxWalkedField& field) override {
    if (&field.layout == kKxTargetLayout.header) return OnHeader(field);
    if (&field.layout == _body) return OnBody(field);
    if (field.path == "excludeType") takers.excludeType = static_cast<uint16_t>(field.Number());
  }

  void OnWhole(const SkxWalkedField& field) override {
    const bool isSet = field.field.kind == EkxField::Property && field.bytes[0] != 0;
    if (&field.layout == _body && isSet) Ask(field);
  }

  SkxTakers takers;

 private:
  void OnHeader(const SkxWalkedField& field) {
    if (field.offset == 0 || field.field.name != std::string_view("type")) return;
    SkxTaker& target = takers.targets.emplace_back();
    target.type = static_cast<EkxPolicyTarget>(field.Number());
    _body = kKxTargetLayout.Body(static_cast<uint32_t>(field.Number()));
  }

  /// Besides properties: the task that a target is about, and for whom it counts. The rest says what comes of a match.
  void OnBody(const SkxWalkedField& field) {
    const bool isTask = field.field.kind == EkxField::TaskId;
    const bool isForSome = field.field.kind == EkxField::Text && !IsForEverybody(field.text);
    if (isTask || isForSome) Ask(field);
    if (field.field.kind == EkxField::GroupId) takers.targets.back().group = KxBytes_Load<GUID>(field.bytes.data());
  }

  static bool IsForEverybody(CkxTextView users) {
    return users.IsEmpty() || KxText_Equals(users, CkxShBufTargetUsers::kNoUsers, true);
  }

  void Ask(const SkxWalkedField& field) {
    const auto index = static_cast<size_t>(&field.field - _body->fields.data());
    SkxTaker& target = takers.targets.back();
    std::unique_ptr<IkxLintCondition> condition = KxLint_Condition(field.field.name, field.bytes);
    if (condition->IsAlwaysMet()) return;
    target.asks.push_back({index, std::move(condition)});
    target.asked |= 1u << index;
    if (NamesGroups(field.field)) target.nestingBits |= 1u << index;
  }

  const SkxLayout* _body = nullptr;
};

}  // namespace

unsigned SkxTaker::Subjects() const {
  switch (type) {
    case EkxPolicyTarget::Url:
      return kKxRequests;
    case EkxPolicyTarget::AdminTask:
      return kKxAllSubjects;
    case EkxPolicyTarget::Executable:
    case EkxPolicyTarget::Script:
    case EkxPolicyTarget::Msi:
    case EkxPolicyTarget::Msu:
    case EkxPolicyTarget::ActiveX:
    case EkxPolicyTarget::Com:
    case EkxPolicyTarget::Exclude:
    case EkxPolicyTarget::AppPackage:
    case EkxPolicyTarget::Dll:
      return kKxThings;
    default:
      return kKxNoSubjects;  // whoever enforces security reads them; they match no launch
  }
}

SkxTakers KxLint_Takers(const SkxLintRecord& record) {
  TakersVisitor visitor;
  SkxRecordFault unused;
  const bool isRead = KxRecord_Walk(KxLint_Layout(record.section), record.bytes, &visitor, unused).has_value();
  return isRead ? std::move(visitor.takers) : SkxTakers();
}

const SkxLintRecord* CkxTakenBefore::TakerOf(const SkxTaken& taken, EkxSubjects subject,
                                             const std::vector<Users>& users) {
  if (const SkxLintRecord* const taker = TakerOfEverything(subject, users)) return taker;
  const SkxLintRecord* taker = nullptr;
  const auto look = [&](uint64_t feature) {
    if (taker != nullptr || !_isDemanded[Bit(feature)]) return;
    const auto entries = _byDemand.find(feature);
    if (entries == _byDemand.end()) return;
    for (const Entry& entry : entries->second) {
      if (!std::binary_search(users.begin(), users.end(), entry.users)) continue;
      if (!entry.Takes(taken, subject, _work)) continue;
      taker = entry.policy;
      return;
    }
  };
  const SkxTaker& target = *taken.target;
  look(Feature(target.type));
  for (const SkxTaker::Ask& ask : target.asks) {
    ask.condition->Offers([&](uint64_t feature) { look(Feature(target.type, ask.field, feature)); });
  }
  return taker;
}

const SkxLintRecord* CkxTakenBefore::TakerOfEverything(EkxSubjects subject, const std::vector<Users>& users) const {
  const SkxLintRecord* first = nullptr;
  for (const Users of : users) {
    const auto taker = _everything.find({subject, of});
    const bool isBefore = taker != _everything.end() && (first == nullptr || taker->second->index < first->index);
    if (isBefore) first = taker->second;
  }
  return first;
}

bool CkxTakenBefore::Entry::Takes(const SkxTaken& other, EkxSubjects subject, CkxLintWork& work) const {
  const SkxTaker& target = *taken.target;
  const bool isAskedAlike = target.nestingBits == 0 || taken.level == other.level;
  const bool asksForMore = (target.asked & ~other.target->asked) != 0;
  return work.Spend(1) && (taken.subjects & subject) != 0 && isAskedAlike && target.type == other.target->type &&
         !asksForMore && AsksForLess(target, *other.target, work);
}

void CkxTakenBefore::Add(const SkxTaken& taken, const SkxLintRecord& policy, Users users) {
  const SkxTaker& target = *taken.target;
  uint64_t rarest = Feature(target.type);
  size_t fewest = std::numeric_limits<size_t>::max();
  for (const SkxTaker::Ask& ask : target.asks) {
    ask.condition->Demands([&](uint64_t demanded) {
      const uint64_t feature = Feature(target.type, ask.field, demanded);
      const auto entries = _byDemand.find(feature);
      const size_t others = entries == _byDemand.end() ? 0 : entries->second.size();
      if (others < fewest) std::tie(rarest, fewest) = std::pair(feature, others);
    });
  }
  _byDemand[rarest].push_back({taken, &policy, users});
  _isDemanded.set(Bit(rarest));
}

void CkxTakenBefore::AddEverything(EkxSubjects subject, const SkxLintRecord& policy, Users users) {
  _everything.try_emplace({subject, users}, &policy);
}
