#include <kx_util/evaluation_observer.h>

#include <utility>

#include "Agent/engine/kx_util/observe.h"

namespace {

thread_local IkxEvaluationObserver* current = nullptr;
thread_local IkxEvaluationObserver* steps = nullptr;  // the same, or null when it does not want every step

/// Returns the one before.
IkxEvaluationObserver* Install(IkxEvaluationObserver* observer) {
  steps = observer != nullptr && observer->WantsSteps() ? observer : nullptr;
  return std::exchange(current, observer);
}

}  // namespace

IkxEvaluationObserver* KxObserve_Current() { return current; }
IkxEvaluationObserver* KxObserve_Steps() { return steps; }

CkxObservePause::CkxObservePause() : _previous(Install(nullptr)) {}
CkxObservePause::~CkxObservePause() { Install(_previous); }

CkxEvaluationObserverScope::CkxEvaluationObserverScope(IkxEvaluationObserver& observer)
    : _previous(Install(&observer)) {}
CkxEvaluationObserverScope::~CkxEvaluationObserverScope() { Install(_previous); }

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
