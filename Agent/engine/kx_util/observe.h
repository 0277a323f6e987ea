// The library's side of watching an evaluation.
//
//   return KxObserve_Check("fileName", MatchFileName(file), [&](CkxUtilStr& expected, CkxUtilStr& actual) { ... }) && ...
#pragma once

#include <kx_util/evaluation_observer.h>

/// The thread's observer, or null.
IkxEvaluationObserver* KxObserve_Current();

/// Hands on `matched`; when it is false and someone watches, `describe(expected, actual)` says what was compared.
template <class Describe>
bool KxObserve_Check(const char* property, bool matched, Describe describe) {
  if (matched) return true;
  if (IkxEvaluationObserver* const observer = KxObserve_Current()) [[unlikely]] {
    CkxUtilStr expected;
    CkxUtilStr actual;
    describe(expected, actual);
    observer->OnCheckFailed(property, expected.View(), actual.View());
  }
  return false;
}
