#include "Common_CPP/file/machine_facts.h"

#include <new>

#include "Common_CPP/thread/thread_slot.h"

namespace {

/// The innermost scope's facts of this thread; null: the system's own.
CkxThreadSlot& Slot() {
  static CkxThreadSlot slot;
  return slot;
}

const IkxMachineFacts* Current() { return static_cast<const IkxMachineFacts*>(Slot().Get()); }
bool SetCurrent(const IkxMachineFacts* facts) { return Slot().Set(const_cast<IkxMachineFacts*>(facts)); }

}  // namespace

const IkxMachineFacts& KxMachine_Facts() {
  const IkxMachineFacts* const facts = Current();
  return facts != nullptr ? *facts : KxMachine_SystemFacts();
}

CkxMachineFactsScope::CkxMachineFactsScope(const IkxMachineFacts& facts) : _previous(Current()) {
  if (!SetCurrent(&facts)) throw std::bad_alloc();  // judged by this machine instead, the answers would be others
}

CkxMachineFactsScope::~CkxMachineFactsScope() { SetCurrent(_previous); }
