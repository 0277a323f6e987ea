#include <kx_util/policy_snapshot.h>
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/policy/policy_prefilter.h"
#include "Agent/engine/kx_util/store/found_groups.h"
#include "Agent/engine/kx_util/store/held_publication.h"
#include "Agent/engine/kx_util/store/policy_walk.h"
#include "Agent/engine/kx_util/store/section_records.h"
#include "Agent/engine/kx_util/store/snapshot_candidates.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Common_CPP/util/trace.h"

namespace {

/// A publication as it is for one user; null where it is not known which policies are.
class PublicationForUser final : public IkxPolicySource {
 public:
  PublicationForUser(const IkxPolicySource& publication, const CkxApplicablePolicies* applicable)
      : _publication(publication), _applicable(applicable) {}

  EkxSectionState OpenSection(EkxPolicySection which, SkxSectionBytes& section) const override {
    return _publication.OpenSection(which, section);
  }
  std::shared_ptr<const CkxApplicablePolicies> ApplicablePolicies(void* /*token*/) const override {
    return {std::shared_ptr<void>(), _applicable};
  }

 private:
  const IkxPolicySource& _publication;
  const CkxApplicablePolicies* const _applicable;
};

bool IsDeciding(const SkxPolicyBufHeader& header) {
  const SkxPolicyFilter filter = {SkxPolicyFilter::kActive | SkxPolicyFilter::kByAction, kKxDecidingActions};
  return filter.Accepts(header.active != 0, header.action);
}

/// Null for a record that does not parse, which applies to nothing.
CkxShBufPolicyPtr ReadPolicy(const SkxPolicyBufHeader& header) {
  CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(&header, false));
  if (policy == nullptr && KxFault_Current() == EkxEvaluationFault::None) {
    KxTrace(EkxTraceLevel::Error, kKxStoreScope,
            "ERROR: Policy cannot be read and is passed over. Id=", uint32_t{header.id},
            ", Action=", static_cast<int32_t>(header.action));
  }
  return policy;
}

}  // namespace

class CkxPolicySnapshot::Decider {
 public:
  explicit Decider(const IkxPolicySource& source) : _held(source), _groups(_held) {
    SkxSectionBytes section;
    _state = _held.OpenSection(EkxPolicySection::Policies, section);
    if (_state == EkxSectionState::Refused) KxFault_Note(EkxEvaluationFault::SectionRefused);
    if (_state != EkxSectionState::Open) return;
    ReadPolicies(section.bytes);
    HangPolicies();
  }

  size_t PolicyCount() const { return _policies.size(); }
  const std::vector<uint32_t>& AskedAlways() const { return _askedAlways; }

  EkxEvaluationOutcome Evaluate(const CkxTargetInfo& target, const CkxApplicablePolicies* applicable,
                                SkxTriggerPolicyShortInfo& info) const {
    const bool isPlain = _state != EkxSectionState::Open || applicable == nullptr || applicable->IsNone() ||
                         !target.IsTargetInfoFile() || target.IsIncomplete() || !CkxPolicyPrefilter::IsUnobserved() ||
                         kx_trace_detail::IsOn(EkxTraceLevel::Info);
    if (isPlain) return Walk(target, applicable, info);
    SkxTriggerPolicyShortInfo result;
    const CkxPolicySourceScope scope(_held);
    const CkxFoundGroups::Scope groups(_held, _groups);
    const std::optional<bool> applies = Decide(static_cast<const CkxTargetInfoFile&>(target), *applicable, result);
    if (!applies) return Walk(target, applicable, info);
    if (!*applies && !_damage.empty()) KxFault_Note(EkxEvaluationFault::Malformed, _damage);
    if (KxFault_Current() != EkxEvaluationFault::None) return EkxEvaluationOutcome::NotAnswered;
    if (!*applies) return EkxEvaluationOutcome::NoPolicyApplies;
    info = result;
    return EkxEvaluationOutcome::PolicyApplies;
  }

 private:
  void ReadPolicies(std::span<const unsigned char> section) {
    CkxSectionRecords records(kKxPolicyRecord, section);
    if (!records.HasCount()) _damage = KxUtil_FaultText(EkxEvaluationFault::Malformed);
    for (uint32_t i = 0; i < records.Count() && KxFault_Current() == EkxEvaluationFault::None; ++i) {
      const auto* const header = reinterpret_cast<const SkxPolicyBufHeader*>(records.Next());
      if (header == nullptr) {
        _damage = records.Fault();
        return;
      }
      if (!IsDeciding(*header)) continue;
      CkxShBufPolicyPtr policy = ReadPolicy(*header);
      if (policy == nullptr) continue;
      _ids.push_back(uint32_t{header->id});  // it may lie anywhere
      _policies.push_back(std::move(policy));
    }
  }

  void HangPolicies() {
    CkxSnapshotDemands demands(_groups);
    std::vector<SkxSnapshotDemands> all;
    all.reserve(_policies.size());
    for (uint32_t rank = 0; rank < _policies.size(); ++rank) {
      all.push_back(demands.Of(At(rank)));
      if (all.back().isAskedAlways && !all.back().takesAllOfAKind) _askedAlways.push_back(_ids[rank]);
    }
    _index.emplace(all, demands.Facts());
  }

  const CkxShBufPolicyWithTargets& At(uint32_t rank) const {
    return static_cast<const CkxShBufPolicyWithTargets&>(*_policies[rank]);
  }

  /// The publication judged as anybody judges it.
  EkxEvaluationOutcome Walk(const CkxTargetInfo& target, const CkxApplicablePolicies* applicable,
                            SkxTriggerPolicyShortInfo& info) const {
    const PublicationForUser publication(_held, applicable);
    const CkxPolicySourceScope scope(publication);
    EkxEvaluationOutcome outcome = EkxEvaluationOutcome::NotAnswered;
    CkxSharedPoliciesData::GetTargetPolicyAction(target, info, outcome);
    return outcome;
  }

  /// Whether a policy applies, as far as no fault is noted. Nothing: it cannot be told without asking each.
  std::optional<bool> Decide(const CkxTargetInfoFile& target, const CkxApplicablePolicies& applicable,
                             SkxTriggerPolicyShortInfo& result) const {
    uint32_t rank = 0;
    for (; rank < _policies.size() && !target.IsPathAtHand(); ++rank) {  // the first about files asks for it
      if (Applies(rank, target, applicable, result)) return true;
      if (KxFault_Current() != EkxEvaluationFault::None) return false;
    }
    CkxSnapshotCandidates candidates(*_index, _ids, applicable, target);
    if (rank < _policies.size() && !candidates.Begin(rank)) return std::nullopt;
    while (candidates.Next(rank)) {
      if (Applies(rank, target, applicable, result)) return true;
    }
    return false;
  }

  bool Applies(uint32_t rank, const CkxTargetInfo& target, const CkxApplicablePolicies& applicable,
               SkxTriggerPolicyShortInfo& result) const {
    if (!applicable.Contains(_ids[rank]) || !KxWork_Spend(1)) return false;
    const CkxShBufPolicyWithTargets& policy = At(rank);
    if (KxPolicyWalk_Judge(policy, target, result) != EkxPolicyOutcome::Applies) return false;
    KxPolicyWalk_Tell(policy, EkxPolicyOutcome::Applies);
    return true;
  }

  const CkxHeldPublication _held;
  const CkxReadGroups _groups;
  EkxSectionState _state = EkxSectionState::NotPublished;
  std::string_view _damage;                  // what ends the section early; empty where nothing does
  std::vector<CkxShBufPolicyPtr> _policies;  // by rank: its place among those that decide
  std::vector<uint32_t> _ids;                // of those
  std::vector<uint32_t> _askedAlways;        // ids
  std::optional<CkxSnapshotIndex> _index;    // where there is a section
};

CkxPolicySnapshot::CkxPolicySnapshot(std::unique_ptr<const Decider> decider) : _decider(std::move(decider)) {}
CkxPolicySnapshot::~CkxPolicySnapshot() = default;

std::shared_ptr<const CkxPolicySnapshot> CkxPolicySnapshot::Make(const IkxPolicySource& source) {
  return std::shared_ptr<const CkxPolicySnapshot>(new CkxPolicySnapshot(std::make_unique<const Decider>(source)));
}

std::shared_ptr<const CkxPolicySnapshot> CkxPolicySnapshot::Prepare(const IkxPolicySource& source,
                                                                    EkxEvaluationFault& fault) noexcept {
  const CkxEntryScope entry;
  auto snapshot = KxEntry(std::shared_ptr<const CkxPolicySnapshot>(), [&] { return Make(source); });
  fault = entry.IsOpen() ? KxFault_Current() : EkxEvaluationFault::OutOfMemory;
  return snapshot;
}

bool CkxPolicySnapshot::Evaluate(const CkxTargetInfo& target, const CkxApplicablePolicies& applicable,
                                 SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) const noexcept {
  outcome = KxEntry(EkxEvaluationOutcome::NotAnswered, [&] { return _decider->Evaluate(target, &applicable, info); });
  return outcome == EkxEvaluationOutcome::PolicyApplies;
}

bool CkxPolicySnapshot::Evaluate(const CkxTargetInfo& target, const IkxPolicySource& source,
                                 SkxTriggerPolicyShortInfo& info, EkxEvaluationOutcome& outcome) const noexcept {
  outcome = KxEntry(EkxEvaluationOutcome::NotAnswered, [&] {
    const std::shared_ptr<const CkxApplicablePolicies> applicable = source.ApplicablePolicies(target.UserToken());
    return _decider->Evaluate(target, applicable.get(), info);
  });
  return outcome == EkxEvaluationOutcome::PolicyApplies;
}

size_t CkxPolicySnapshot::PolicyCount() const { return _decider->PolicyCount(); }
std::vector<uint32_t> CkxPolicySnapshot::AskedAlways() const { return _decider->AskedAlways(); }
