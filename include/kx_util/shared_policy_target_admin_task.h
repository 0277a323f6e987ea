// The target that is an administrative task.
#pragma once

#include <kx_util/admin_task.h>
#include <kx_util/shared_policy_target.h>

/// u32 number of the task; one that the catalogue does not have is a malformed record.
class KX_UTIL_API CkxShBufTargetAdminTask : public CkxShBufTarget {
 public:
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining) override;
  bool MatchTarget(const CkxTargetInfo& target) const override;
  bool RequiresKxToolsFolder() const override { return _task != nullptr && _task->RequiresKxToolsFolder(); }
  void AppendDebugMsg(CkxUtilStr& text) const override;

  uint32_t TaskId() const { return _taskId; }
  const CkxAdminTask* Task() const { return _task; }  ///< null only for a record that was not read
  std::span<const uint32_t> GetKxToolsFolderItemIds() const;

 private:
  const WCHAR* TaskName() const;

  uint32_t _taskId = 0;
  const CkxAdminTask* _task = nullptr;
};
