// Administrative tasks: what a user does in the control panel or a management console, which policies name by a number
// instead of by a program. Several tasks share one program (rundll32.exe, mmc.exe, explorer.exe), and one task can be
// started in several ways, so each task knows by what launches it is recognised.
//
//   const CkxAdminTask* task = CkxAdminTask::CreateInstance(taskId);
//   if (task != nullptr && task->MatchProcess(process)) ...
//
// A launch is recognised only where the programs and files that it names are the system's own: they lie in the folder
// \Windows, \Windows\System32 or \Windows\SysWOW64, of the drive that the system lives on where that is known
// (IkxMachineFacts::WindowsFolder), else of any drive. Case never matters. What is not known of a launch is no match.
#pragma once

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <span>

class CkxSystemLaunch;
struct SkxAdminTaskEntry;

/// The items of the agent's folder of tools, by their numbers: one for each view that only the shell itself can show.
struct SkxToolsFolderItem {
  enum : uint32_t {
    NetworkConnections = 1,
    NetworkAndSharingCenter = 2,
    DevicesAndPrinters = 3,
    ProgramsAndFeatures = 4,
    InstalledUpdates = 5,
    DefaultPrograms = 6,
    UserAccounts = 7,
    CredentialManager = 8,
    PowerOptions = 9,
    Display = 10,
    Fonts = 11,
    WindowsFirewall = 12,
    SecurityAndMaintenance = 13,
    WindowsUpdate = 14,
    BackupAndRestore = 15,
    BitLockerDriveEncryption = 16,
  };
};

/// A task of an administrator, as the catalogue has it.
class KX_UTIL_API CkxAdminTask {
 public:
  /// Tasks are made by the catalogue alone, and live as long as the library.
  constexpr explicit CkxAdminTask(const SkxAdminTaskEntry& entry) : _entry(&entry) {}

  /// The task of that number, from the catalogue; null when there is none. Not to be freed.
  static const CkxAdminTask* CreateInstance(uint32_t id);

  /// Every task, in the order of their numbers: from 1, without gaps.
  static std::span<const CkxAdminTask> All();

  uint32_t Id() const;
  const WCHAR* Name() const;

  /// By the program and its command line.
  bool MatchProcess(const CkxTargetInfoProcess& process) const;

  /// By the file alone: a program of the task's own, a console file, a control-panel file. Where several tasks share
  /// one it is the task that opens without arguments.
  bool MatchFile(const CkxTargetInfoFile& file) const;

  /// By the address that is requested.
  bool MatchElevator(const CkxTargetInfoElevator& request) const;

  /// By the class that the control panel has its work done by, elevated.
  bool MatchUacCOM(const CkxTargetInfoUacCOM& component) const;

  /// Tasks that the shell runs inside itself cannot be started elevated from their usual place: the agent offers them
  /// in a folder of its own.
  bool RequiresKxToolsFolder() const { return !GetKxToolsFolderItemIds().empty(); }

  /// The items of that folder which start the task (SkxToolsFolderItem).
  std::span<const uint32_t> GetKxToolsFolderItemIds() const;

 private:
  bool IsStartedBy(const CkxSystemLaunch& launch) const;

  const SkxAdminTaskEntry* _entry;
};
