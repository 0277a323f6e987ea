#include "Common_CPP/file/machine_facts.h"

#include "Common_CPP/util/text.h"

namespace {

/// The innermost scope's facts of this thread; null: the system's own.
const CkxThreadPointer<const IkxMachineFacts>& CurrentFacts() {
  static const CkxThreadPointer<const IkxMachineFacts> facts;
  return facts;
}

}  // namespace

std::optional<EkxDriveType> KxDriveType_Of(CkxTextView word, bool caseSensitive) {
  for (const SkxDriveTypeWord& row : kKxDriveTypeWords) {
    if (KxText_Equals(row.word, word, caseSensitive)) return row.type;
  }
  return std::nullopt;
}

const IkxMachineFacts& KxMachine_Facts() {
  const IkxMachineFacts* const facts = CurrentFacts().Get();
  return facts != nullptr ? *facts : KxMachine_SystemFacts();
}

CkxMachineFactsScope::CkxMachineFactsScope(const IkxMachineFacts& facts) : _scope(CurrentFacts(), &facts) {}
