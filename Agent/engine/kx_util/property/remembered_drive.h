// The machine, but for the drives whose kind somebody remembers: what came from a medium came from it, whatever is in
// the drive by now.
#pragma once

#include "Common_CPP/file/machine_facts.h"

class CkxRememberedDrive : public IkxMachineFacts {
 public:
  enum EkxWhen { Always, IfUnknownNow };

  /// By the word for it, "REMOVABLE"; another word is no memory.
  explicit CkxRememberedDrive(CkxTextView word, EkxWhen when = Always)
      : _machine(KxMachine_Facts()), _remembered(KxDriveType_Of(word, false)), _when(when) {
    if (_remembered == EkxDriveType::Unknown) _remembered.reset();
  }

  EkxDriveType DriveType(WCHAR letter) const override {
    if (_remembered && _when == Always) return *_remembered;
    const EkxDriveType now = _machine.DriveType(letter);
    return _remembered && now == EkxDriveType::Unknown ? *_remembered : now;
  }
  std::optional<KxWString> MappedShare(WCHAR letter) const override { return _machine.MappedShare(letter); }
  CkxTextView WindowsFolder() const override { return _machine.WindowsFolder(); }

 private:
  const IkxMachineFacts& _machine;
  std::optional<EkxDriveType> _remembered;
  const EkxWhen _when;
};
