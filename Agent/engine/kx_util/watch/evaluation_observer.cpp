#include <kx_util/evaluation_observer.h>

#include "Agent/engine/kx_util/watch/observe.h"

namespace {

using Pointer = CkxThreadPointer<IkxEvaluationObserver>;

const Pointer& CurrentObserver() {
  static const Pointer observer;
  return observer;
}

/// The same observer, or null when it does not want every step.
const Pointer& Steps() {
  static const Pointer observer;
  return observer;
}

}  // namespace

IkxEvaluationObserver* KxObserve_Current() { return CurrentObserver().Get(); }
IkxEvaluationObserver* KxObserve_Steps() { return Steps().Get(); }

CkxObservePause::CkxObservePause() : _current(CurrentObserver(), nullptr), _steps(Steps(), nullptr) {}

CkxEvaluationObserverScope::CkxEvaluationObserverScope(IkxEvaluationObserver& observer)
    : _current(CurrentObserver(), &observer), _steps(Steps(), observer.WantsSteps() ? &observer : nullptr) {}

const char* KxUtil_PolicyOutcomeText(EkxPolicyOutcome outcome) {
  switch (outcome) {
    case EkxPolicyOutcome::Applies:
      return "applies";
    case EkxPolicyOutcome::NoTargetMatched:
      return "no target matched";
    case EkxPolicyOutcome::PassedOver:
      return "passed over";
    case EkxPolicyOutcome::NotApplicableToUser:
      return "not applicable to the user";
    case EkxPolicyOutcome::FilteredOut:
      return "filtered out";
  }
  return "";
}
