#include "Agent/engine/kx_util/command/system_place.h"

#include "Agent/engine/kx_util/command/wildcard.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"

namespace {

bool IsOnSystemDrive(CkxTextView path) {
  const WCHAR drive = KxPath_DriveLetter(KxMachine_Facts().WindowsFolder());
  return drive == 0 || KxPath_DriveLetter(path) == drive;
}

}  // namespace

CkxSystemPlace::CkxSystemPlace(CkxTextView programPath)
    : _normalized(KxPath_Normalized(programPath)),
      _path(_normalized ? CkxTextView(*_normalized) : programPath),
      _isOnSystemDrive(IsOnSystemDrive(_path)) {}

bool CkxSystemPlace::Is(CkxTextView place) const {
  const bool isSystems = place.Size() >= 2 && place[0] == KXW('?') && place[1] == KXW(':');
  return (_isOnSystemDrive || !isSystems) && KxWildcard_MatchesPath(place, _path);
}
