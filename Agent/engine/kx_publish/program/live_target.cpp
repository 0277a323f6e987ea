#include "Agent/engine/kx_publish/program/live_target.h"

#include <kx_util/shortcut_target.h>

#include <new>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"

CkxTargetInfoPtr KxLiveTarget_File(std::string_view file, void* token, std::string& error) {
  const std::optional<KxWString> path = KxText_FromUtf8(file);
  const std::optional<KxWString> full = path ? KxFile_FullPath(*path) : std::nullopt;
  if (!full || !KxFile_Status(*full)) {
    error = std::string(file) + ": cannot be read: " + (full ? KxFile_WhyRefused(*full) : "it is no path");
    return nullptr;
  }
  const CkxEntryScope describing;
  CkxTargetInfoPtr target = KxShortcut_Describe(full->c_str(), token);
  if (target == nullptr) target = CkxTargetInfoPtr(new CkxTargetInfoFile(full->c_str(), token));
  if (!describing.IsOpen() || KxFault_Current() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return target;
}

CkxTargetInfoPtr KxLiveTarget_Process(uint32_t pid, void* token, EkxProcessLookup& lookup, std::string& error) {
  CkxTargetInfoPtr process = CkxTargetInfoProcess::CreateFromPid(pid, lookup, token);
  if (process != nullptr) return process;
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  error = "process " + std::to_string(pid);
  error += lookup == EkxProcessLookup::NoSuchProcess ? ": there is none" : ": the system does not tell all of it";
  return nullptr;
}
