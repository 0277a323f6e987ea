#include "Agent/engine/kx_publish/lint/lint_takes.h"

#include <kx_util/shared_policy_target_users.h>

#include <algorithm>
#include <functional>
#include <string_view>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::span<const unsigned char>;

std::string_view AsText(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// Of the asks of `target` that are in `fields`; the same in whatever order they came.
uint64_t Hash(const SkxTaker& target, uint32_t fields) {
  auto hash = static_cast<uint64_t>(target.type);
  for (const SkxTaker::Ask& ask : target.asks) {
    if ((fields >> ask.field & 1) == 0) continue;
    const uint64_t one = std::hash<std::string_view>()(AsText(ask.bytes)) + ask.field;
    hash += one * 0x9E3779B97F4A7C15;
  }
  return hash;
}

uint64_t WithUsers(uint64_t hash, CkxPolicyUsers::Set users) { return hash ^ (users + 1) * 0xC2B2AE3D27D4EB4F; }

/// Whether `other` asks for all that `target` does.
bool AsksForAll(const SkxTaker& other, const SkxTaker& target) {
  return std::all_of(target.asks.begin(), target.asks.end(), [&](const SkxTaker::Ask& ask) {
    return std::any_of(other.asks.begin(), other.asks.end(), [&](const SkxTaker::Ask& same) {
      return same.field == ask.field && AsText(same.bytes) == AsText(ask.bytes);
    });
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
    target.asks.push_back({index, field.bytes});
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

const SkxLintRecord* CkxTakenBefore::FirstTaker(const SkxTaken& taken, EkxSubjects subject,
                                                const std::vector<Users>& users) const {
  const SkxLintRecord* first = FirstTakerOfEverything(subject, users);
  const auto asked = _asked.find(taken.target->type);
  if (asked == _asked.end()) return first;
  for (const uint32_t fields : asked->second) {
    if ((fields & ~taken.target->asked) != 0) continue;
    const uint64_t hash = Hash(*taken.target, fields);
    for (const Users of : users) {
      const auto entries = _byHash.find(WithUsers(hash, of));
      if (entries == _byHash.end()) continue;
      for (const Entry& entry : entries->second) {
        const bool isBefore = first == nullptr || entry.policy->index < first->index;
        if (isBefore && entry.users == of && entry.Takes(taken, subject)) first = entry.policy;
      }
    }
  }
  return first;
}

const SkxLintRecord* CkxTakenBefore::FirstTakerOfEverything(EkxSubjects subject,
                                                            const std::vector<Users>& users) const {
  const SkxLintRecord* first = nullptr;
  for (const Users of : users) {
    const auto taker = _everything.find({subject, of});
    const bool isBefore = taker != _everything.end() && (first == nullptr || taker->second->index < first->index);
    if (isBefore) first = taker->second;
  }
  return first;
}

bool CkxTakenBefore::Entry::Takes(const SkxTaken& other, EkxSubjects subject) const {
  const SkxTaker& target = *taken.target;
  const bool isAskedAlike = target.nestingBits == 0 || taken.level == other.level;
  return (taken.subjects & subject) != 0 && isAskedAlike && target.type == other.target->type &&
         AsksForAll(*other.target, target);
}

void CkxTakenBefore::Add(const SkxTaken& taken, const SkxLintRecord& policy, Users users) {
  _asked[taken.target->type].insert(taken.target->asked);
  _byHash[WithUsers(Hash(*taken.target, taken.target->asked), users)].push_back({taken, &policy, users});
}

void CkxTakenBefore::AddEverything(EkxSubjects subject, const SkxLintRecord& policy, Users users) {
  _everything.try_emplace({subject, users}, &policy);
}
