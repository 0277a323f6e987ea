#include "Agent/engine/kx_publish/decision/live_file.h"

#include <kx_util/evaluation_fault.h>
#include <kx_util/shortcut_target.h>

#include <new>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"

CkxTargetInfoPtr KxLiveFile_Describe(const std::string& file, void* token) {
  const std::optional<KxWString> path = KxText_FromUtf8(file);
  const std::optional<KxWString> full = path ? KxFile_FullPath(*path) : std::nullopt;
  if (!full || !KxFile_Status(*full)) return nullptr;
  CkxTargetInfoPtr started = KxShortcut_Describe(full->c_str(), token);
  if (started != nullptr) return started;
  if (KxUtil_LastFault() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  return CkxTargetInfoPtr(new CkxTargetInfoFile(full->c_str(), token));
}
