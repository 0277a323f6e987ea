// The library's side of watching an evaluation.
//
//   return KxObserve_Check("fileName", MatchFileName(file), [&](CkxUtilStr& expected, CkxUtilStr& actual) { ... }) &&
//   ...
#pragma once

#include <kx_util/evaluation_observer.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"

/// The thread's observer, or null: told of the policy that applies and of a fault.
IkxEvaluationObserver* KxObserve_Current();

/// The thread's observer when it wants every step, else null: told of checks, targets and policies that do not apply.
IkxEvaluationObserver* KxObserve_Steps();

/// Hands on `matched`; when it is false and someone watches, `describe(expected, actual)` says what was compared.
template <class Describe>
bool KxObserve_Check(const char* property, bool matched, Describe describe) {
  if (matched) return true;
  if (IkxEvaluationObserver* const observer = KxObserve_Steps()) [[unlikely]] {
    KxEntry([&] {
      CkxUtilStr expected;
      CkxUtilStr actual;
      describe(expected, actual);
      observer->OnCheckFailed(property, expected.View(), actual.View());
    });
  }
  return false;
}

/// Nobody watches for the length of the scope: for questions asked on the way that are no part of what is watched, such
/// as which group a parent process belongs to.
class CkxObservePause {
 public:
  CkxObservePause();

 private:
  const CkxThreadPointer<IkxEvaluationObserver>::Scope _current;
  const CkxThreadPointer<IkxEvaluationObserver>::Scope _steps;
};
