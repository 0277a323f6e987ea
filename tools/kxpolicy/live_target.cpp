#include "tools/kxpolicy/live_target.h"

#include <kx_util/evaluation_fault.h>

#include <new>

#include "Agent/engine/kx_publish/decision/live_file.h"
#include "tools/kxpolicy/tool.h"

CkxTargetInfoPtr KxLive_File(const std::string& file, void* token) {
  CkxTargetInfoPtr target = KxLiveFile_Describe(file, token);
  if (target == nullptr) throw CkxToolFault(EkxExit::UnusableInput, file + ": cannot be read");
  return target;
}

CkxTargetInfoPtr KxLive_Process(uint32_t pid, void* token) {
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  CkxTargetInfoPtr process = CkxTargetInfoProcess::CreateFromPid(pid, lookup, token);
  if (process != nullptr) return process;
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  const std::string name = "process " + std::to_string(pid);
  if (lookup == EkxProcessLookup::NoSuchProcess) throw CkxToolFault(EkxExit::UnusableInput, name + ": there is none");
  throw CkxToolFault(EkxExit::SystemRefused, name + ": the system does not tell all of it");
}
