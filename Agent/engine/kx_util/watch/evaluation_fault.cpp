#include "Agent/engine/kx_util/watch/evaluation_fault.h"

#include <atomic>

#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/trace.h"

namespace {

std::atomic<uint64_t> workLimit{kKxDefaultWorkLimit};

/// What a thread's pointer to its last fault points to: each at the place of its number.
constexpr EkxEvaluationFault kFaults[] = {
    EkxEvaluationFault::None,           EkxEvaluationFault::OutOfMemory,   EkxEvaluationFault::WorkLimit,
    EkxEvaluationFault::SectionRefused, EkxEvaluationFault::UserUnknown,   EkxEvaluationFault::PublicationUnstable,
    EkxEvaluationFault::Malformed,      EkxEvaluationFault::TargetChanged, EkxEvaluationFault::TargetUnreadable};
static_assert(kFaults[static_cast<size_t>(EkxEvaluationFault::TargetUnreadable)] ==
              EkxEvaluationFault::TargetUnreadable);

// What a thread remembers: the outermost entry under way, the fault of the one before, and who may end its work.

const CkxThreadPointer<CkxEntryScope>& Outermost() {
  static const CkxThreadPointer<CkxEntryScope> entry;
  return entry;
}
const CkxThreadPointer<const EkxEvaluationFault>& LastFault() {
  static const CkxThreadPointer<const EkxEvaluationFault> fault;
  return fault;
}
const CkxThreadPointer<const CkxCancel>& Cancel() {
  static const CkxThreadPointer<const CkxCancel> cancel;
  return cancel;
}

void Tell(std::string_view line) noexcept {
  try {
    if (IkxEvaluationObserver* const observer = KxObserve_Current()) observer->OnFault(line);
  } catch (const std::exception&) {  // no memory to remember it by, say; `KxUtil_LastFault` still tells it
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
    case EkxEvaluationFault::TargetChanged:
      return "ERROR: The file was changed while it was judged";
    case EkxEvaluationFault::TargetUnreadable:
      return "ERROR: The file, or what is kept with it, cannot be read";
  }
  return {};
}

void KxUtil_SetWorkLimit(uint64_t units) noexcept { workLimit.store(units, std::memory_order_relaxed); }
uint64_t KxUtil_WorkLimit() noexcept { return workLimit.load(std::memory_order_relaxed); }
EkxEvaluationFault KxUtil_LastFault() noexcept {
  if (const EkxEvaluationFault now = KxFault_Current(); now != EkxEvaluationFault::None) return now;
  const EkxEvaluationFault* const last = LastFault().Get();
  return last != nullptr ? *last : EkxEvaluationFault::None;
}

void KxFault_Note(EkxEvaluationFault fault, std::string_view line) noexcept {
  CkxEntryScope scope;
  CkxEntryScope* const outermost = Outermost().Get();
  if (outermost == nullptr || outermost->_fault != EkxEvaluationFault::None) return;
  outermost->_fault = fault;
  outermost->_line = line;
  KxTrace_TellFault(line);  // here, where the stack says why
}

void KxFault_Note(EkxEvaluationFault fault) noexcept { KxFault_Note(fault, KxUtil_FaultText(fault)); }

EkxEvaluationFault KxFault_Current() noexcept {
  const CkxEntryScope* const outermost = Outermost().Get();
  return outermost != nullptr ? outermost->_fault : EkxEvaluationFault::None;
}

bool KxWork_Spend(uint64_t units) noexcept {
  CkxEntryScope* const outermost = Outermost().Get();
  if (outermost == nullptr) return true;  // nobody's evaluation
  const CkxCancel* const cancel = Cancel().Get();
  const bool isCanceled = cancel != nullptr && cancel->IsOver();
  if (!isCanceled && units <= outermost->_workLeft) {
    outermost->_workLeft -= units;
    return true;
  }
  outermost->_workLeft = 0;
  KxFault_Note(EkxEvaluationFault::WorkLimit);
  return false;
}

CkxWorkCancelScope::CkxWorkCancelScope(const CkxCancel& cancel) : _scope(Cancel(), &cancel) {}

CkxEntryScope::CkxEntryScope() noexcept : _isOutermost(Outermost().Get() == nullptr) {
  if (!_isOutermost) return;
  _workLeft = KxUtil_WorkLimit();
  _isOpen = Outermost().Set(this);
  if (_isOpen) return;
  _fault = EkxEvaluationFault::OutOfMemory;
  _line = KxUtil_FaultText(_fault);
}

CkxEntryScope::~CkxEntryScope() {
  if (!_isOutermost) return;
  Outermost().Set(nullptr);
  LastFault().Set(&kFaults[static_cast<size_t>(_fault)]);
  if (_fault != EkxEvaluationFault::None) Tell(_line);
}
