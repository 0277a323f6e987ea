#include "Common_CPP/file/machine_facts.h"

#include <new>

#include "Common_CPP/thread/thread_slot.h"

namespace {

/// The innermost scope's facts of this thread; null: the system's own.
const CkxThreadPointer<const IkxMachineFacts>& Current() {
  static const CkxThreadPointer<const IkxMachineFacts> facts;
  return facts;
}

}  // namespace

const IkxMachineFacts& KxMachine_Facts() {
  const IkxMachineFacts* const facts = Current().Get();
  return facts != nullptr ? *facts : KxMachine_SystemFacts();
}

CkxMachineFactsScope::CkxMachineFactsScope(const IkxMachineFacts& facts) : _previous(Current().Get()) {
  if (!Current().Set(&facts)) throw std::bad_alloc();  // judged by this machine instead, the answers would be others
}

CkxMachineFactsScope::~CkxMachineFactsScope() { Current().Set(_previous); }
