#include "Common_CPP/file/machine_facts.h"

namespace {

thread_local const IkxMachineFacts* t_facts = nullptr;  // the innermost scope's; null: the system's own

}  // namespace

const IkxMachineFacts& KxMachine_Facts() { return t_facts != nullptr ? *t_facts : KxMachine_SystemFacts(); }

CkxMachineFactsScope::CkxMachineFactsScope(const IkxMachineFacts& facts) : _previous(t_facts) { t_facts = &facts; }

CkxMachineFactsScope::~CkxMachineFactsScope() { t_facts = _previous; }
