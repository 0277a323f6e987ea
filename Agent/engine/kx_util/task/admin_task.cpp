#include <kx_util/admin_task.h>

#include <algorithm>

#include "Agent/engine/kx_util/task/admin_task_catalogue.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

const CkxAdminTask* CkxAdminTask::CreateInstance(uint32_t id) {
  const std::span<const CkxAdminTask> all = All();
  return id >= 1 && id <= all.size() ? &all[id - 1] : nullptr;
}

uint32_t CkxAdminTask::Id() const { return _entry->id; }
const WCHAR* CkxAdminTask::Name() const { return _entry->name; }

std::span<const uint32_t> CkxAdminTask::GetKxToolsFolderItemIds() const { return _entry->ToolsFolderItems(); }

bool CkxAdminTask::MatchProcess(const CkxTargetInfoProcess& process) const {
  return KxEntry(false, [&] { return IsStartedBy(CkxSystemLaunch(process)); });
}

bool CkxAdminTask::MatchFile(const CkxTargetInfoFile& file) const {
  return KxEntry(false, [&] { return IsStartedBy(CkxSystemLaunch(file)); });
}

bool CkxAdminTask::MatchElevator(const CkxTargetInfoElevator& request) const {
  return KxEntry(false, [&] { return IsStartedBy(CkxSystemLaunch(request)); });
}

bool CkxAdminTask::MatchUacCOM(const CkxTargetInfoUacCOM& component) const {
  return KxEntry(false, [&] { return IsStartedBy(CkxSystemLaunch(component)); });
}

bool CkxAdminTask::IsStartedBy(const CkxSystemLaunch& launch) const {
  const std::span<const SkxLaunch> known = _entry->Launches();
  return std::any_of(known.begin(), known.end(), [&](const SkxLaunch& one) { return launch.Is(one); });
}
