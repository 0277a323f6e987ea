#include "Agent/engine/kx_util/store/section_walk.h"

#include <chrono>
#include <thread>
#include <utility>

#include "Agent/engine/kx_util/buffer/record_memory.h"
#include "Agent/engine/kx_util/policy/policy_com_reference.h"
#include "Agent/engine/kx_util/policy/policy_prefilter.h"
#include "Agent/engine/kx_util/store/found_groups.h"
#include "Agent/engine/kx_util/store/section_records.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/clock/clock.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kNoApplicablePolicies = "Failed to get applicable policies for the user";
constexpr int64_t kSlowWalkMicroseconds = 500000;

/// Bytes of a record that are read for one unit of work.
constexpr uint32_t kBytesOfWork = 16;

/// Work that may be done before it is spent: asking after each record would take as long as the record.
constexpr uint64_t kWorkAtOnce = 4096;

/// How often a decision is begun anew because another publication came between its questions. Each time takes one that
/// ends between a look at the index and the agent's answer.
constexpr int kMaxPublications = 64;

/// A publisher that is faster than that gets out of step with us while we sleep.
void GiveWay(int attempt) {
  if (attempt > 8) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

EkxWalkEnd Fault(EkxEvaluationFault fault, std::string_view line) {
  KxFault_Note(fault, line);
  return EkxWalkEnd::Faulted;
}

EkxWalkEnd NotOpened(EkxSectionState state) {
  if (state == EkxSectionState::NotPublished) return EkxWalkEnd::NothingPublished;
  KxFault_Note(EkxEvaluationFault::SectionRefused);
  return EkxWalkEnd::NotOpened;
}

const SkxPolicyBufHeader* PolicyHeader(const unsigned char* record) {
  return reinterpret_cast<const SkxPolicyBufHeader*>(record);
}

/// A policy that nobody is asked about; it is made only to name it to whoever watches. False when a fault is noted.
bool TellSkipped(const SkxPolicyBufHeader* header, EkxPolicyOutcome outcome) {
  IkxEvaluationObserver* const observer = KxObserve_Steps();
  if (observer == nullptr) return true;
  const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(header, false));
  const CkxTextView name = policy != nullptr ? policy->NameView() : CkxTextView();
  observer->OnPolicy({header->id, header->action, name, policy.get()}, outcome);
  return KxFault_Current() == EkxEvaluationFault::None;
}

/// One walk over a section, with what it counts.
class SectionWalk {
 public:
  SectionWalk(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context, const CkxTargetInfo* about)
      : _filter(filter), _callback(callback), _context(context) {
    if (about != nullptr && CkxPolicyPrefilter::IsUnobserved()) _prefilter.emplace(*about);
  }

  EkxWalkEnd Run(std::span<const unsigned char> section, const CkxApplicablePolicies* applicable) {
    const CkxPolicyComReference com;
    const CkxFoundGroups::Scope groups;
    CkxSectionRecords records(kKxPolicyRecord, section);
    if (!records.HasCount()) {
      return Fault(EkxEvaluationFault::Malformed, KxUtil_FaultText(EkxEvaluationFault::Malformed));
    }
    _count = records.Count();
    while (_visited < _count) {
      const unsigned char* const record = records.Next();
      if (record == nullptr) return Fault(EkxEvaluationFault::Malformed, records.Fault());
      ++_visited;
      if (!Visit(PolicyHeader(record), applicable)) break;
    }
    if (KxFault_Current() != EkxEvaluationFault::None || !SpendWhatIsDue()) return EkxWalkEnd::Faulted;
    TraceWhenSlow();
    return EkxWalkEnd::Walked;
  }

 private:
  /// False ends the walk.
  bool Visit(const SkxPolicyBufHeader* header, const CkxApplicablePolicies* applicable) {
    ++_workDue;
    if (!_filter.Accepts(header->active != 0, header->action)) return Skip(header, EkxPolicyOutcome::FilteredOut);
    if (applicable != nullptr && !applicable->Contains(header->id)) {
      return Skip(header, EkxPolicyOutcome::NotApplicableToUser);
    }
    _workDue += header->size / kBytesOfWork;
    if (_prefilter && !_prefilter->MayApply(*header)) return SpendWhenMuchIsDue();
    if (!SpendWhatIsDue()) return false;
    const CkxShBufPolicyPtr policy = Make(header);
    if (policy == nullptr) return PassOver(header);
    ++_passed;
    return _callback(*policy, _context) && KxFault_Current() == EkxEvaluationFault::None;
  }

  bool SpendWhatIsDue() { return KxWork_Spend(std::exchange(_workDue, 0)); }
  bool SpendWhenMuchIsDue() { return _workDue < kWorkAtOnce || SpendWhatIsDue(); }

  CkxShBufPolicyPtr Make(const SkxPolicyBufHeader* header) {
    const CkxRecordArena::Scope scope(_arena);
    return CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(header, false));
  }

  /// A record that does not parse applies to nothing; one that there was no memory for has noted that, and ends the
  /// walk.
  bool PassOver(const SkxPolicyBufHeader* header) {
    if (KxFault_Current() != EkxEvaluationFault::None) return false;
    KxTrace(EkxTraceLevel::Error, kKxStoreScope,
            "ERROR: Policy cannot be read and is passed over. Id=", uint32_t{header->id},
            ", Action=", static_cast<int32_t>(header->action), ", Record=", _visited - 1);
    return Skip(header, EkxPolicyOutcome::PassedOver);
  }

  bool Skip(const SkxPolicyBufHeader* header, EkxPolicyOutcome outcome) {
    return TellSkipped(header, outcome) && SpendWhenMuchIsDue();
  }

  void TraceWhenSlow() const {
    const int64_t elapsed = _watch.Microseconds();
    if (elapsed <= kSlowWalkMicroseconds) return;
    CkxUtilStr line;
    KxText_AppendFormat(line, KXW("ShPolData::EnumPol. %u (%u filtered) out of %u policies in %I64d microsec"),
                        _visited, _passed, _count, elapsed);
    KxTrace(EkxTraceLevel::Warning, kKxStoreScope, line.View());
  }

  const SkxPolicyFilter& _filter;
  const KxPolicyCallback _callback;
  void* const _context;
  std::optional<CkxPolicyPrefilter> _prefilter;
  CkxRecordArena _arena;
  const CkxStopWatch _watch;
  uint64_t _workDue = 0;  // done, and not spent yet
  uint32_t _visited = 0;
  uint32_t _passed = 0;
  uint32_t _count = 0;
};

/// Nothing to walk for: the user has no policies, or nobody can tell.
EkxWalkEnd NoneApplicable(bool isKnown) {
  KxTrace(EkxTraceLevel::Error, kKxStoreScope, kNoApplicablePolicies);
  if (!isKnown) return Fault(EkxEvaluationFault::UserUnknown, kNoApplicablePolicies);
  if (IkxEvaluationObserver* const observer = KxObserve_Current()) observer->OnFault(kNoApplicablePolicies);
  return EkxWalkEnd::NoneApplicable;
}

}  // namespace

EkxWalkEnd KxSectionWalk_Policies(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context,
                                  bool applicableOnly, void* token, const CkxTargetInfo* about) {
  const IkxPolicySource& source = KxPolicySource_Current();
  for (int attempt = 0; attempt < kMaxPublications; ++attempt) {
    GiveWay(attempt);
    // The names of the sections first, then the agent, then a look whether it answered about these sections: so that
    // the ids, the policies and the groups of a decision are of one publication.
    std::unique_ptr<const IkxPolicySource> pinned;
    std::shared_ptr<const CkxApplicablePolicies> applicable;
    EkxSectionState state = applicableOnly ? source.PinFor(token, pinned, applicable) : source.Pin(pinned);
    const IkxPolicySource& publication = pinned != nullptr ? *pinned : source;
    if (applicableOnly) {
      if (applicable == nullptr) return NoneApplicable(false);
      if (!publication.IsCurrent()) continue;
      if (applicable->IsNone()) return NoneApplicable(true);
    }
    const CkxPolicySourceScope scope(publication);
    SkxSectionBytes section;
    if (state == EkxSectionState::Open) state = publication.OpenSection(EkxPolicySection::Policies, section);
    if (state != EkxSectionState::Open) return NotOpened(state);
    return SectionWalk(filter, callback, context, about).Run(section.bytes, applicable.get());
  }
  return Fault(EkxEvaluationFault::PublicationUnstable, KxUtil_FaultText(EkxEvaluationFault::PublicationUnstable));
}
