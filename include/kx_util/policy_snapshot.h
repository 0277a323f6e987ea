// The policies of one publication, prepared once for very many decisions.
//
// `CkxSharedPoliciesData::GetTargetPolicyAction` reads the publication anew for each decision: that is what a process
// does that decides once. Whoever decides thousands of times about the same publication prepares it: the policies are
// made once, and each hangs on the rarest thing that it demands, so that a decision asks only the few that may apply.
//
//   EkxEvaluationFault fault;
//   const auto snapshot = CkxPolicySnapshot::Prepare(image, fault);
//   if (snapshot != nullptr) snapshot->Evaluate(target, image, info, outcome);
//
// The answer is the one that the evaluation of the publication gives, faults included; only what it may cost
// (`KxUtil_SetWorkLimit`) reaches further. No fact of a file is asked for that the evaluation would not ask for.
//
// A snapshot owns copies of the sections and the plain texts of all deciding policies, which are wiped when it goes. It
// does not notice that something else is published: whoever holds it compares `IkxPolicySource::PublicationName`.
// It never changes: any threads may evaluate with it at once, each its own descriptions.
#pragma once

#include <kx_util/evaluation_fault.h>
#include <kx_util/policy_result.h>
#include <kx_util/policy_source.h>
#include <kx_util/target_info.h>

/// A publication that is prepared for many decisions.
class KX_UTIL_API CkxPolicySnapshot {
 public:
  /// Of the publication in force at `source`, which need not outlive this. Null, with `fault` saying why, when its
  /// policies are refused or there is no memory. Records that are damaged are no reason: they fail, or are passed over,
  /// where an evaluation meets them. Those that are passed over are told once, in the trace of this call.
  static std::shared_ptr<const CkxPolicySnapshot> Prepare(const IkxPolicySource& source,
                                                          EkxEvaluationFault& fault) noexcept;

  CkxPolicySnapshot(const CkxPolicySnapshot&) = delete;
  CkxPolicySnapshot& operator=(const CkxPolicySnapshot&) = delete;
  ~CkxPolicySnapshot();

  /// The central evaluation, among the policies of `applicable`. True when a policy applies; `info` is untouched
  /// otherwise. While somebody watches each step, or the trace is for developers, each policy is asked; else those that
  /// are not asked have no line in it either.
  bool Evaluate(const CkxTargetInfo& target, const CkxApplicablePolicies& applicable, SkxTriggerPolicyShortInfo& info,
                EkxEvaluationOutcome& outcome) const noexcept;

  /// The same among the policies that `source`, from which this was prepared, has for the user of `target`.
  bool Evaluate(const CkxTargetInfo& target, const IkxPolicySource& source, SkxTriggerPolicyShortInfo& info,
                EkxEvaluationOutcome& outcome) const noexcept;

  /// The deciding policies that can be read.
  size_t PolicyCount() const;

  /// The ids of those that nothing they demand can be looked up by, an expression for instance, so that each decision
  /// asks them. Not: those that take everything of some kind.
  std::vector<uint32_t> AskedAlways() const;

 private:
  class Decider;

  explicit CkxPolicySnapshot(std::unique_ptr<const Decider> decider);
  static std::shared_ptr<const CkxPolicySnapshot> Make(const IkxPolicySource& source);

  const std::unique_ptr<const Decider> _decider;
};
