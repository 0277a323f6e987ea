#include <kx_util/evaluation_observer.h>

#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/thread/thread_slot.h"

namespace {

using Pointer = CkxThreadPointer<IkxEvaluationObserver>;

const Pointer& Current() {
  static const Pointer observer;
  return observer;
}

/// The same observer, or null when it does not want every step.
const Pointer& Steps() {
  static const Pointer observer;
  return observer;
}

/// Returns the one before.
IkxEvaluationObserver* Install(IkxEvaluationObserver* observer) {
  IkxEvaluationObserver* const previous = KxObserve_Current();
  Steps().Set(observer != nullptr && observer->WantsSteps() ? observer : nullptr);
  Current().Set(observer);
  return previous;
}

}  // namespace

IkxEvaluationObserver* KxObserve_Current() { return Current().Get(); }
IkxEvaluationObserver* KxObserve_Steps() { return Steps().Get(); }

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
