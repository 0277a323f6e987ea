// What the machine says of itself: drives, mapped drives, its name. Asked through one interface, so that a description
// made from recorded facts is judged by the recorded machine and never by this one.
//
//   CkxMachineFactsScope scope(recorded);   // this thread, until the scope ends; scopes nest
#pragma once

#include <optional>

#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/text_view.h"

/// The system's drive types, by its own numbers.
enum class EkxDriveType : unsigned {
  Unknown = 0,
  NoRoot = 1,
  Removable = 2,
  Fixed = 3,
  Remote = 4,
  Cdrom = 5,
  RamDisk = 6
};

struct SkxDriveTypeWord {
  EkxDriveType type;
  const WCHAR* word;
};

/// What policies and documents call them. A drive of any other type counts as unknown.
inline constexpr SkxDriveTypeWord kKxDriveTypeWords[] = {
    {EkxDriveType::Unknown, KXW("UNKNOWN")}, {EkxDriveType::Removable, KXW("REMOVABLE")},
    {EkxDriveType::Fixed, KXW("FIXED")},     {EkxDriveType::Remote, KXW("REMOTE")},
    {EkxDriveType::Cdrom, KXW("CDROM")},     {EkxDriveType::RamDisk, KXW("RAMDISK")},
};

/// The word, or null for a type without one.
constexpr const WCHAR* KxDriveType_Word(EkxDriveType type) {
  for (const SkxDriveTypeWord& row : kKxDriveTypeWords) {
    if (row.type == type) return row.word;
  }
  return nullptr;
}

/// The type that the word names; nothing for another word.
std::optional<EkxDriveType> KxDriveType_Of(CkxTextView word, bool caseSensitive);

class IkxMachineFacts {
 public:
  virtual ~IkxMachineFacts() = default;

  /// The type of the drive `letter` (upper case) as the calling thread's user sees it.
  virtual EkxDriveType DriveType(WCHAR letter) const = 0;

  /// "\\server\share" that the drive `letter` stands for; nothing when it is no mapped drive.
  virtual std::optional<KxWString> MappedShare(WCHAR letter) const = 0;

  /// Where the system lives ("C:\Windows"); empty when that is not known.
  virtual CkxTextView WindowsFolder() const { return {}; }
};

/// The facts in force on this thread: the innermost scope's, else the system's own.
const IkxMachineFacts& KxMachine_Facts();

/// The system's own; one file a platform.
const IkxMachineFacts& KxMachine_SystemFacts();

class CkxMachineFactsScope {
 public:
  explicit CkxMachineFactsScope(const IkxMachineFacts& facts);

 private:
  const CkxThreadPointer<const IkxMachineFacts>::Scope _scope;
};
