// Administrative tasks: what a user does in the control panel or a management console, which policies name by a number
// instead of by a program. Several tasks share one program (rundll32.exe, mmc.exe, explorer.exe), and one task can be
// started in several ways, so each task knows by what launches it is recognised.
#pragma once

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <span>

class KX_UTIL_API CkxAdminTask {
 public:
  /// The task of that number, from the catalogue; null when there is none. Tasks live as long as the library and are
  /// never freed.
  static const CkxAdminTask* CreateInstance(uint32_t id);

  /// Every task, in the order of their numbers.
  static std::span<const CkxAdminTask> All();

  uint32_t Id() const { return _id; }
  const WCHAR* Name() const { return _name; }

  bool MatchProcess(const CkxTargetInfoProcess& process) const;
  bool MatchFile(const CkxTargetInfoFile& file) const;
  bool MatchElevator(const CkxTargetInfoElevator& request) const;
  bool MatchUacCOM(const CkxTargetInfoUacCOM& component) const;

  /// Tasks that the shell runs inside itself cannot be started elevated from their usual place: the agent offers them
  /// in a folder of its own.
  bool RequiresKxToolsFolder() const { return !_toolsFolderItems.empty(); }

  /// The items of that folder which start the task.
  std::span<const uint32_t> GetKxToolsFolderItemIds() const { return _toolsFolderItems; }

 private:
  uint32_t _id;
  const WCHAR* _name;
  std::span<const uint32_t> _toolsFolderItems;
};
