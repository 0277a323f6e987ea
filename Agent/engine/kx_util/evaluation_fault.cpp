#include "Agent/engine/kx_util/evaluation_fault.h"

#include <atomic>
#include <utility>

#include "Agent/engine/kx_util/observe.h"

namespace {

std::atomic<uint64_t> workLimit{kKxDefaultWorkLimit};

/// Of this thread. Without a destructor: a thread that ends may still be in an entry of its own destructors.
struct State {
  unsigned entries;
  EkxEvaluationFault fault;
  std::string_view line;
  uint64_t workLeft;
  EkxEvaluationFault last;  ///< of the entry before
  const CkxCancel* cancel;
};
constinit thread_local State state = {};

void Tell(std::string_view line) noexcept {
  try {
    if (IkxEvaluationObserver* const observer = KxObserve_Current()) observer->OnFault(line);
  } catch (
      const std::bad_alloc&) {  // whoever watches has no memory to remember it by; `KxUtil_LastFault` still says it
  }
}

}  // namespace

std::string_view KxUtil_FaultText(EkxEvaluationFault fault) noexcept {
  switch (fault) {
    case EkxEvaluationFault::None:
      return {};
    case EkxEvaluationFault::OutOfMemory:
      return "ERROR: Out of memory";
    case EkxEvaluationFault::WorkLimit:
      return "ERROR: The evaluation costs more than it may and is given up";
    case EkxEvaluationFault::SectionRefused:
      return "ERROR: Failed to open shared memory";
    case EkxEvaluationFault::UserUnknown:
      return "Failed to get applicable policies for the user";
    case EkxEvaluationFault::PublicationUnstable:
      return "ERROR: The publication changes faster than it can be read";
    case EkxEvaluationFault::Malformed:
      return "ERROR: The section is damaged";
  }
  return {};
}

void KxUtil_SetWorkLimit(uint64_t units) noexcept { workLimit.store(units, std::memory_order_relaxed); }
uint64_t KxUtil_WorkLimit() noexcept { return workLimit.load(std::memory_order_relaxed); }
EkxEvaluationFault KxUtil_LastFault() noexcept { return state.last; }

void KxFault_Note(EkxEvaluationFault fault, std::string_view line) noexcept {
  const CkxEntryScope scope;
  if (state.fault != EkxEvaluationFault::None) return;
  state.fault = fault;
  state.line = line;
}

void KxFault_Note(EkxEvaluationFault fault) noexcept { KxFault_Note(fault, KxUtil_FaultText(fault)); }

EkxEvaluationFault KxFault_Current() noexcept { return state.fault; }

bool KxWork_Spend(uint64_t units) noexcept {
  if (state.entries == 0) return true;  // nobody's evaluation
  const bool isCanceled = state.cancel != nullptr && state.cancel->IsOver();
  if (!isCanceled && units <= state.workLeft) {
    state.workLeft -= units;
    return true;
  }
  state.workLeft = 0;
  KxFault_Note(EkxEvaluationFault::WorkLimit);
  return false;
}

CkxWorkCancelScope::CkxWorkCancelScope(const CkxCancel& cancel) noexcept
    : _before(std::exchange(state.cancel, &cancel)) {}

CkxWorkCancelScope::~CkxWorkCancelScope() { state.cancel = _before; }

CkxEntryScope::CkxEntryScope() noexcept {
  if (state.entries++ > 0) return;
  state.fault = EkxEvaluationFault::None;
  state.line = {};
  state.workLeft = KxUtil_WorkLimit();
}

CkxEntryScope::~CkxEntryScope() {
  if (--state.entries > 0) return;
  state.last = state.fault;
  if (state.fault != EkxEvaluationFault::None) Tell(state.line);
}
