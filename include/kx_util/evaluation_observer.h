// Watching an evaluation: which policies were looked at, what became of each, and for a target that did not match, the
// check that ended it with what the policy expected and what was there.
//
// One observer a thread. Without one a check costs a branch; the texts are put together only when someone watches.
//
//   Explainer explainer;
//   CkxEvaluationObserverScope scope(explainer);
//   CkxSharedPoliciesData::GetTargetPolicyAction(target, info);
#pragma once

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/owned_str.h"

class CkxShBufPolicy;
enum class EkxPolicyAction : int32_t;
enum class EkxPolicyTarget : uint32_t;

/// What became of a policy that was looked at.
enum class EkxPolicyOutcome : unsigned char {
  Applies,
  NoTargetMatched,
  PassedOver,  ///< an exclusion of another kind, or a record that does not parse
  NotApplicableToUser,
  FilteredOut,  ///< inactive, or of an action that does not take part
};

/// "applies", "no target matched", "passed over", "not applicable to the user", "filtered out".
KX_UTIL_API const char* KxUtil_PolicyOutcomeText(EkxPolicyOutcome outcome);

/// A policy that the walk comes to, for the length of the call.
struct SkxObservedPolicy {
  uint32_t id;
  EkxPolicyAction action;
  CkxTextView name;              ///< lives for the call only; no value when the record does not parse
  const CkxShBufPolicy* policy;  ///< lives for the call only; null when the record does not parse
};

/// A target that the walk comes to, for the length of the call.
struct SkxObservedTarget {
  GUID id;
  EkxPolicyTarget type;
};

/// Called in the order of the evaluation: the targets of a policy come before its outcome, the targets of a linked
/// group before the link, and a failed check before the target that it ended.
class IkxEvaluationObserver {
 public:
  virtual ~IkxEvaluationObserver() = default;

  /// False: only the policy that applies, and a fault, are worth a call; the evaluation then runs at its full speed.
  virtual bool WantsSteps() const { return true; }

  /// A check that ended a target: the property, what was asked for and what was there. Texts live for the call only.
  virtual void OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) = 0;
  virtual void OnTarget(const SkxObservedTarget& target, bool matched) = 0;
  virtual void OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) = 0;

  /// The walk ended in a fault; `line` is the trace line that says so.
  virtual void OnFault(std::string_view line) = 0;
};

/// Puts an observer in place on this thread, and the one before back at its end.
class KX_UTIL_API CkxEvaluationObserverScope {
 public:
  explicit CkxEvaluationObserverScope(IkxEvaluationObserver& observer);

 private:
  const CkxThreadPointer<IkxEvaluationObserver>::Scope _current;
  const CkxThreadPointer<IkxEvaluationObserver>::Scope _steps;
};
