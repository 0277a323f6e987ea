#include <kx_util/target_info_process.h>

#include "Common_CPP/util/format.h"

CkxTargetInfoProcess::CkxTargetInfoProcess(const WCHAR* path, SkxProcessFacts process, void* userToken, bool flag)
    : CkxTargetInfoFile(path, userToken, flag), _process(std::move(process)) {}

CkxTargetInfoProcess::CkxTargetInfoProcess(SkxFileFacts file, SkxProcessFacts process, void* userToken, bool flag)
    : CkxTargetInfoFile(std::move(file), userToken, flag), _process(std::move(process)) {}

CkxTargetInfoProcess::~CkxTargetInfoProcess() = default;

const CkxTargetInfo& CkxTargetInfoProcess::GetEffectiveTarget() const {
  if (_linked.empty()) return *this;
  return *_linked.front();
}

const CkxTargetInfoFile* CkxTargetInfoProcess::LinkedOfType(EkxPolicyTarget type) const {
  for (const CkxTargetInfoPtr& linked : _linked) {
    if (linked->IsTargetInfoFile() && linked->IsTargetType(type))
      return static_cast<const CkxTargetInfoFile*>(linked.get());
  }
  return nullptr;
}

void CkxTargetInfoProcess::_GetDescriptionForEvent(CkxUtilStr& text) const {
  CkxTargetInfoFile::_GetDescriptionForEvent(text);
  if (!_process.commandLine.empty()) KxText_AppendFormat(text, KXW(", command line: %s"), _process.commandLine);
}
