// Files and machines of which is known what a test says, and nothing else.
#pragma once

#include <kx_util/target_info_file.h>

#include <map>

#include "Common_CPP/file/machine_facts.h"

inline SkxFileFacts KxTest_FileAt(CkxTextView path) {
  SkxFileFacts facts;
  facts.path = path.ToString();
  return facts;
}

struct CkxRecordedMachine : IkxMachineFacts {
  using Drives = std::map<WCHAR, EkxDriveType>;

  explicit CkxRecordedMachine(Drives known = {}, EkxDriveType others = EkxDriveType::Unknown)
      : drives(std::move(known)), otherDrives(others) {}
  EkxDriveType DriveType(WCHAR letter) const override {
    const auto drive = drives.find(letter);
    return drive != drives.end() ? drive->second : otherDrives;
  }
  std::optional<KxWString> MappedShare(WCHAR letter) const override {
    const auto share = shares.find(letter);
    return share != shares.end() ? std::optional<KxWString>(share->second) : std::nullopt;
  }
  CkxTextView WindowsFolder() const override { return windowsFolder; }

  Drives drives;
  EkxDriveType otherDrives;
  std::map<WCHAR, KxWString> shares;
  KxWString windowsFolder;
};
