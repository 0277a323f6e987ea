#include <kx_util/admin_task.h>

std::span<const CkxAdminTask> CkxAdminTask::All() { return {}; }

const CkxAdminTask* CkxAdminTask::CreateInstance(uint32_t id) {
  for (const CkxAdminTask& task : All()) {
    if (task.Id() == id) return &task;
  }
  return nullptr;
}

bool CkxAdminTask::MatchProcess(const CkxTargetInfoProcess& /*process*/) const { return false; }
bool CkxAdminTask::MatchFile(const CkxTargetInfoFile& /*file*/) const { return false; }
bool CkxAdminTask::MatchElevator(const CkxTargetInfoElevator& /*request*/) const { return false; }
bool CkxAdminTask::MatchUacCOM(const CkxTargetInfoUacCOM& /*component*/) const { return false; }
