#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

// After windows.h, which it does not include itself.
#include <winnetwk.h>

namespace {

static_assert(static_cast<unsigned>(EkxDriveType::NoRoot) == DRIVE_NO_ROOT_DIR &&
                  static_cast<unsigned>(EkxDriveType::RamDisk) == DRIVE_RAMDISK,
              "drive types are told by the system's numbers");

bool IsLetter(WCHAR letter) { return letter >= L'A' && letter <= L'Z'; }

class CkxSystemFacts : public IkxMachineFacts {
 public:
  EkxDriveType DriveType(WCHAR letter) const override {
    if (!IsLetter(letter)) return EkxDriveType::Unknown;
    const CkxLastErrorGuard guard;
    const WCHAR root[] = {letter, L':', L'\\', 0};
    return static_cast<EkxDriveType>(GetDriveTypeW(root));
  }

  std::optional<KxWString> MappedShare(WCHAR letter) const override {
    if (!IsLetter(letter)) return std::nullopt;
    const CkxLastErrorGuard guard;
    const WCHAR drive[] = {letter, L':', 0};
    KxWString share(MAX_PATH, WCHAR{});
    DWORD error = ERROR_MORE_DATA;
    for (int attempt = 0; attempt < 2 && error == ERROR_MORE_DATA; ++attempt) {
      DWORD units = static_cast<DWORD>(share.size());
      error = WNetGetConnectionW(drive, share.data(), &units);
      if (error == ERROR_MORE_DATA) share.resize(units);
    }
    share.resize(KxWStringView(share.c_str()).size());
    if (error != NO_ERROR || !KxPath_IsUnc(share)) return std::nullopt;
    return share;
  }

  CkxTextView WindowsFolder() const override { return _windowsFolder; }

 private:
  static KxWString AskWindowsFolder() {
    const CkxLastErrorGuard guard;
    WCHAR folder[MAX_PATH];
    const UINT units = GetSystemWindowsDirectoryW(folder, MAX_PATH);  // the machine's, whoever is logged on
    return KxWString(folder, units < MAX_PATH ? units : 0);
  }

  const KxWString _windowsFolder = AskWindowsFolder();
};

}  // namespace

const IkxMachineFacts& KxMachine_SystemFacts() {
  static const CkxSystemFacts facts;
  return facts;
}
