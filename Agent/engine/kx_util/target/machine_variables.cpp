#include "Agent/engine/kx_util/target/machine_variables.h"

#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

struct MachineVariable {
  const WCHAR* name;
  const WCHAR* place;  ///< below the system's drive; null: the folder where the system lives
};

constexpr MachineVariable kVariables[] = {
    {KXW("SystemRoot"), nullptr},
    {KXW("windir"), nullptr},
    {KXW("SystemDrive"), KXW("")},
    {KXW("ProgramFiles"), KXW("\\Program Files")},
    {KXW("ProgramW6432"), KXW("\\Program Files")},
    {KXW("ProgramFiles(x86)"), KXW("\\Program Files (x86)")},
    {KXW("CommonProgramFiles"), KXW("\\Program Files\\Common Files")},
    {KXW("CommonProgramFiles(x86)"), KXW("\\Program Files (x86)\\Common Files")},
    {KXW("ProgramData"), KXW("\\ProgramData")},
};

/// Empty for any other.
KxWString PlaceOf(CkxTextView name, CkxTextView windows) {
  for (const MachineVariable& variable : kVariables) {
    if (!KxText_Equals(name, variable.name, false)) continue;
    if (variable.place == nullptr) return windows.ToString();
    if (KxPath_DriveLetter(windows) != 0) return windows.Part(0, 2).ToString() + variable.place;
  }
  return {};
}

}  // namespace

KxWString KxMachineVariables_Expand(CkxTextView text) {
  const CkxTextView windows = KxMachine_Facts().WindowsFolder();
  if (windows.IsEmpty()) return text.ToString();
  const KxWString from = text.ToString();
  KxWString expanded;
  for (size_t at = 0; at < from.size();) {
    const size_t end = from[at] == KXW('%') ? from.find(KXW('%'), at + 1) : from.npos;
    const KxWString place = end != from.npos ? PlaceOf(text.Part(at + 1, end - at - 1), windows) : KxWString();
    if (place.empty()) {
      expanded += from[at++];
    } else {
      expanded += place;
      at = end + 1;
    }
  }
  return expanded;
}
