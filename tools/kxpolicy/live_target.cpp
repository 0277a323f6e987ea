#include "tools/kxpolicy/live_target.h"

#include <kx_util/evaluation_fault.h>
#include <kx_util/shortcut_target.h>

#include <new>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/tool.h"

CkxTargetInfoPtr KxLive_File(const std::string& file, void* token) {
  const std::optional<KxWString> path = KxText_FromUtf8(file);
  const std::optional<KxWString> full = path ? KxFile_FullPath(*path) : std::nullopt;
  if (!full || !KxFile_Status(*full)) throw CkxToolFault(EkxExit::UnusableInput, file + ": cannot be read");
  CkxTargetInfoPtr started = KxShortcut_Describe(full->c_str(), token);
  if (started != nullptr) return started;
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return CkxTargetInfoPtr(new CkxTargetInfoFile(full->c_str(), token));
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
