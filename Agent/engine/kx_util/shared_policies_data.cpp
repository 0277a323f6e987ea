#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_util/observe.h"
#include "Agent/engine/kx_util/policy_com_reference.h"
#include "Agent/engine/kx_util/record_memory.h"
#include "Agent/engine/kx_util/section_lookup.h"
#include "Common_CPP/util/clock.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/guid.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kScope = "CkxSharedPoliciesData";
constexpr int64_t kSlowWalkMicroseconds = 500000;

const SkxPolicyBufHeader* PolicyHeader(const unsigned char* record) {
  return reinterpret_cast<const SkxPolicyBufHeader*>(record);
}

/// One walk over the policies, with what it counts and what it tells whoever watches.
class PolicyWalk {
 public:
  PolicyWalk(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context)
      : _filter(filter), _callback(callback), _context(context) {}

  ~PolicyWalk() {
    const int64_t elapsed = KxClock_Microseconds() - _start;
    if (elapsed <= kSlowWalkMicroseconds) return;
    CkxUtilStr line;
    KxText_AppendFormat(line, KXW("ShPolData::EnumPol. %u (%u filtered) out of %u policies in %I64d microsec"),
                        _visited, _passed, _count, elapsed);
    KxTrace(EkxTraceLevel::Warning, kScope, line.View());
  }
  PolicyWalk(const PolicyWalk&) = delete;
  PolicyWalk& operator=(const PolicyWalk&) = delete;

  bool Run(bool applicableOnly, void* token) {
    const IkxPolicySource& source = KxPolicySource_Current();
    std::shared_ptr<const CkxApplicablePolicies> applicable;
    if (applicableOnly) {
      applicable = source.ApplicablePolicies(token);
      if (applicable == nullptr) {
        KxTrace(EkxTraceLevel::Error, kScope, kNoApplicablePolicies);
        return Fault(kNoApplicablePolicies);
      }
    }
    // Groups are looked up on the way, in the publication that the policies are of.
    const std::unique_ptr<const IkxPolicySource> pinned = source.Pinned();
    const CkxPolicySourceScope scope(pinned != nullptr ? *pinned : source);
    SkxSectionBytes section;
    if (!KxPolicySource_Current().OpenSection(EkxPolicySection::Policies, section)) return true;
    return Walk(section.bytes, applicable.get());
  }

 private:
  static constexpr std::string_view kNoApplicablePolicies = "Failed to get applicable policies for the user";

  bool Walk(std::span<const unsigned char> section, const CkxApplicablePolicies* applicable) {
    const CkxPolicyComReference com;
    CkxSectionRecords records(kKxPolicyRecord, section);
    _count = records.Count();
    for (uint32_t i = 0; i < _count; ++i) {
      const unsigned char* const record = records.Next();
      if (record == nullptr) return Fault(records.Fault());
      ++_visited;
      if (!Visit(PolicyHeader(record), applicable)) break;
    }
    return true;
  }

  /// False ends the walk.
  bool Visit(const SkxPolicyBufHeader* header, const CkxApplicablePolicies* applicable) {
    if (!_filter.Accepts(header->active != 0, header->action)) return Skip(header, EkxPolicyOutcome::FilteredOut);
    if (applicable != nullptr && !applicable->Contains(header->id)) {
      return Skip(header, EkxPolicyOutcome::NotApplicableToUser);
    }
    const CkxShBufPolicyPtr policy = Make(header);
    if (policy == nullptr) {
      KxTrace(EkxTraceLevel::Error, kScope,
              "ERROR: Policy cannot be read and is passed over. Id=", uint32_t{header->id},
              ", Action=", static_cast<int32_t>(header->action), ", Record=", _visited - 1);
      return Skip(header, EkxPolicyOutcome::PassedOver);
    }
    ++_passed;
    return _callback(*policy, _context);
  }

  CkxShBufPolicyPtr Make(const SkxPolicyBufHeader* header) {
    const CkxRecordArena::Scope scope(_arena);
    return CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(header, false));
  }

  /// A policy that nobody is asked about; it is made only to name it to whoever watches.
  static bool Skip(const SkxPolicyBufHeader* header, EkxPolicyOutcome outcome) {
    if (IkxEvaluationObserver* const observer = KxObserve_Steps()) {
      const CkxShBufPolicyPtr policy(CkxShBufPolicy::PolicyFromBuffer(header, false));
      const CkxTextView name = policy != nullptr ? policy->NameView() : CkxTextView();
      observer->OnPolicy({header->id, header->action, name, policy.get()}, outcome);
    }
    return true;
  }

  static bool Fault(std::string_view line) {
    if (IkxEvaluationObserver* const observer = KxObserve_Current()) observer->OnFault(line);
    return false;
  }

  const SkxPolicyFilter& _filter;
  const KxPolicyCallback _callback;
  void* const _context;
  CkxRecordArena _arena;
  const int64_t _start = KxClock_Microseconds();
  uint32_t _visited = 0;
  uint32_t _passed = 0;
  uint32_t _count = 0;
};

}  // namespace

bool CkxSharedPoliciesData::EnumPolicies(KxPolicyCallback callback, void* context, bool applicableOnly, void* token) {
  return EnumPolicies(SkxPolicyFilter(), callback, context, applicableOnly, token);
}

bool CkxSharedPoliciesData::EnumPolicies(const SkxPolicyFilter& filter, KxPolicyCallback callback, void* context,
                                         bool applicableOnly, void* token) {
  return PolicyWalk(filter, callback, context).Run(applicableOnly, token);
}

bool CkxSharedPoliciesData::GetPolicyById(uint32_t id, CkxShBufPolicy*& policy) {
  const auto wanted = [&](const SkxPolicyBufHeader& record) { return record.id == id; };
  return KxSection_LookUp(EkxPolicySection::Policies, kKxPolicyRecord, wanted, CkxShBufPolicy::PolicyFromBuffer,
                          policy);
}

bool CkxSharedPoliciesData::GetPolicyByIdWithValidation(uint32_t id, EkxPolicyAction action, bool active,
                                                        CkxShBufPolicy*& policy) {
  CkxShBufPolicy* found = nullptr;
  if (!GetPolicyById(id, found)) return false;
  CkxShBufPolicyPtr owned(found);
  if (!owned->IsAction(action) || owned->Active() != active) return false;
  policy = owned.release();
  return true;
}

bool CkxSharedPoliciesData::GetAppGroupById(const GUID& id, CkxShBufAppGroup*& group) {
  const auto wanted = [&](const SkxAppGroupBufHeader& record) {
    const GUID candidate = record.id;
    return KxGuid_Equal(candidate, id);
  };
  return KxSection_LookUp(EkxPolicySection::AppGroups, kKxAppGroupRecord, wanted, CkxShBufAppGroup::AppGroupFromBuffer,
                          group);
}

bool CkxSharedPoliciesData::GetPoliciesApplicableForUser(void* token, std::vector<int>& ids) {
  const std::shared_ptr<const CkxApplicablePolicies> applicable = KxPolicySource_Current().ApplicablePolicies(token);
  if (applicable == nullptr) return false;
  const auto append = [&](uint32_t id) { ids.push_back(static_cast<int>(id)); };
  if (!applicable->IsAll()) {
    for (const uint32_t id : applicable->Ids()) append(id);
    return true;
  }
  return EnumPolicies(
      [](const CkxShBufPolicy& policy, void* context) {
        static_cast<std::vector<int>*>(context)->push_back(static_cast<int>(policy.Id()));
        return true;
      },
      &ids, false, token);
}
