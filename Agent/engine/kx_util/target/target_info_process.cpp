#include <kx_util/target_info_process.h>

#include "Agent/engine/kx_util/command/script_host.h"
#include "Agent/engine/kx_util/target/target_of_type.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/format.h"

namespace {

/// From the root of a drive or of a server; interpreters go by the rules of their system, whatever this one is.
bool IsAbsolute(CkxTextView path) {
  if (path.Size() < 3) return false;
  if (KxPath_DriveLetter(path) != 0) return KxPath_IsSeparator(path[2]);
  return KxPath_IsSeparator(path[0]) && KxPath_IsSeparator(path[1]);
}

}  // namespace

CkxTargetInfoProcess::CkxTargetInfoProcess(const WCHAR* path, SkxProcessFacts process, void* userToken, bool flag)
    : CkxTargetInfoFile(path, userToken, flag), _process(std::move(process)), _isRecorded(false), _isTyped(false) {}

CkxTargetInfoProcess::CkxTargetInfoProcess(SkxFileFacts file, SkxProcessFacts process, void* userToken, bool flag)
    : CkxTargetInfoProcess{file.targetType.has_value(), std::move(file), std::move(process), userToken, flag} {}

CkxTargetInfoProcess::CkxTargetInfoProcess(bool isTyped, SkxFileFacts file, SkxProcessFacts process, void* userToken,
                                           bool flag)
    : CkxTargetInfoFile(std::move(file), userToken, flag),
      _process(std::move(process)),
      _isRecorded(true),
      _isTyped(isTyped) {}

CkxTargetInfoProcess::~CkxTargetInfoProcess() = default;

EkxPolicyTarget CkxTargetInfoProcess::TargetType() const {
  return _isTyped || _isTypedByName ? CkxTargetInfoFile::TargetType() : EkxPolicyTarget::Executable;
}

void CkxTargetInfoProcess::SetTypedByName() {
  _isTypedByName = true;
  _RenewIdentity();
}

void CkxTargetInfoProcess::AddLinked(CkxTargetInfoPtr target) {
  if (target == nullptr) return;
  if (target->IsTargetInfoProcess()) static_cast<CkxTargetInfoProcess&>(*target).SetTypedByName();
  const bool isAdded = KxEntry(false, [&] {
    _linked.push_back(std::move(target));
    return true;
  });
  if (!isAdded) _SetIncomplete();
  _RenewIdentity();
}

const CkxTargetInfo& CkxTargetInfoProcess::GetEffectiveTarget() const {
  if (_linked.empty()) return *this;
  return *_linked.front();
}

const CkxTargetInfoFile* CkxTargetInfoProcess::LinkedOfType(EkxPolicyTarget type) const {
  return KxEntry<const CkxTargetInfoFile*>(nullptr, [&]() -> const CkxTargetInfoFile* {
    for (const CkxTargetInfoPtr& linked : _linked) {
      if (linked->IsTargetInfoFile() && linked->IsTargetType(type))
        return static_cast<const CkxTargetInfoFile*>(linked.get());
    }
    if (type != EkxPolicyTarget::Script) return nullptr;
    if (!_script) {
      CkxTargetInfoPtr script = _DescribeScript();
      if (KxFault_Current() != EkxEvaluationFault::None) return nullptr;  // not known, which is not "none"
      _script = std::move(script);
    }
    return static_cast<const CkxTargetInfoFile*>(_script->get());
  });
}

CkxTargetInfoPtr CkxTargetInfoProcess::_DescribeScript() const {
  std::optional<SkxHostedScript> script = KxScriptHost_ScriptOf(GetPath(), CommandLine());
  if (!script) return nullptr;
  SkxProcessFacts process;
  process.pid = Pid();
  process.commandLine = std::move(script->commandLine);

  // A relative path begins at the folder of that process, which is not known here: looked for from the current folder
  // of this one, it would be some other file.
  if (!_isRecorded && IsAbsolute(script->path)) {
    return CkxTargetInfoPtr(
        new CkxHostedScript(script->path.c_str(), std::move(process), UserToken(), ConstructionFlag()));
  }
  SkxFileFacts facts;
  facts.path = std::move(script->path);
  return CkxTargetInfoPtr(new CkxHostedScript(std::move(facts), std::move(process), UserToken(), ConstructionFlag()));
}

void CkxTargetInfoProcess::_GetDescriptionForEvent(CkxUtilStr& text) const {
  CkxTargetInfoFile::_GetDescriptionForEvent(text);
  if (!_process.commandLine.empty()) KxText_AppendFormat(text, KXW(", command line: %s"), _process.commandLine);
}
