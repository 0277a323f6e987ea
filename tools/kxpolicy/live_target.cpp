#include "tools/kxpolicy/live_target.h"

#include "Agent/engine/kx_publish/program/live_target.h"
#include "tools/kxpolicy/tool.h"

CkxTargetInfoPtr KxLive_File(const std::string& file, void* token) {
  std::string error;
  CkxTargetInfoPtr target = KxLiveTarget_File(file, token, error);
  if (target == nullptr) throw CkxToolFault(EkxExit::UnusableInput, error);
  return target;
}

CkxTargetInfoPtr KxLive_Process(uint32_t pid, void* token) {
  std::string error;
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  CkxTargetInfoPtr process = KxLiveTarget_Process(pid, token, lookup, error);
  if (process != nullptr) return process;
  const bool isNone = lookup == EkxProcessLookup::NoSuchProcess;
  throw CkxToolFault(isNone ? EkxExit::UnusableInput : EkxExit::SystemRefused, error);
}
