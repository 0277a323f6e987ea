#include <kx_util/evaluation_observer.h>

#include "Agent/engine/kx_util/observe.h"
#include "Common_CPP/thread/thread_slot.h"

namespace {

CkxThreadSlot& Slot() {
  static CkxThreadSlot slot;
  return slot;
}

/// The same observer, or null when it does not want every step.
CkxThreadSlot& StepsSlot() {
  static CkxThreadSlot slot;
  return slot;
}

/// Returns the one before.
IkxEvaluationObserver* Install(IkxEvaluationObserver* observer) {
  IkxEvaluationObserver* const previous = KxObserve_Current();
  StepsSlot().Set(observer != nullptr && observer->WantsSteps() ? observer : nullptr);
  Slot().Set(observer);
  return previous;
}

}  // namespace

IkxEvaluationObserver* KxObserve_Current() { return static_cast<IkxEvaluationObserver*>(Slot().Get()); }
IkxEvaluationObserver* KxObserve_Steps() { return static_cast<IkxEvaluationObserver*>(StepsSlot().Get()); }

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
