#include <kx_util/shared_policy_target_admin_task.h>

#include "Agent/engine/kx_util/policy/target_debug_text.h"

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/policy/target_checks.h"
#include "Common_CPP/util/format.h"

namespace {

bool IsLaunchOf(const CkxAdminTask& task, const CkxTargetInfo& target) {
  if (target.IsTargetInfoProcess()) return task.MatchProcess(static_cast<const CkxTargetInfoProcess&>(target));
  if (target.IsTargetInfoFile()) return task.MatchFile(static_cast<const CkxTargetInfoFile&>(target));
  if (target.IsTargetInfoElevator()) return task.MatchElevator(static_cast<const CkxTargetInfoElevator&>(target));
  return target.IsTargetInfoUacCOM() && task.MatchUacCOM(static_cast<const CkxTargetInfoUacCOM&>(target));
}

}  // namespace

bool CkxShBufTargetAdminTask::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  if (!CkxShBufTarget::FromBuffer(cursor, remaining) || !CkxBufReader(cursor, remaining).U32(_taskId)) return false;
  _task = CkxAdminTask::CreateInstance(_taskId);
  return _task != nullptr;
}

bool CkxShBufTargetAdminTask::MatchTarget(const CkxTargetInfo& target) const {
  return KxCheck_Kind(_task != nullptr && IsLaunchOf(*_task, target), TaskName(), target);
}

std::span<const uint32_t> CkxShBufTargetAdminTask::GetKxToolsFolderItemIds() const {
  return _task != nullptr ? _task->GetKxToolsFolderItemIds() : std::span<const uint32_t>();
}

const WCHAR* CkxShBufTargetAdminTask::TaskName() const { return _task != nullptr ? _task->Name() : KXW("Unknown"); }

void CkxShBufTargetAdminTask::AppendDebugMsg(CkxUtilStr& text) const {
  KxDebugText_Append(
      text, [&] { KxText_AppendFormat(text, KXW("\r\n  Target: AdminTask %d (%s).\r\n"), _taskId, TaskName()); });
}
