#include <kx_util/shortcut_target.h>
#include <kx_util/target_info_process.h>

#include <algorithm>

#include "Agent/engine/kx_util/target/carried_target.h"
#include "Agent/engine/kx_util/target/machine_variables.h"
#include "Agent/engine/kx_util/target/shortcut.h"
#include "Agent/engine/kx_util/target/target_of_type.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/process/process.h"
#include "Common_CPP/util/text.h"

namespace {

bool IsFromSlash(CkxTextView path) { return !path.IsEmpty() && path.Front() == KXW('/'); }

/// `path` if it is full and there is such a file.
std::optional<KxWString> FileAt(const std::optional<KxWString>& path) {
  if (!path) return std::nullopt;
  const bool isFull = IsFromSlash(*path) || KxProcess_FullPath(std::nullopt, *path);
  return isFull && KxFile_Status(*path) ? path : std::nullopt;
}

/// Where the system has no drives, the way there is told with its own separators.
std::optional<KxWString> FromFolderOf(CkxTextView shortcut, KxWString relative) {
  if (relative.empty()) return std::nullopt;
  const KxWString folder = KxPath_Folder(shortcut).ToString();
  if (IsFromSlash(folder)) std::replace(relative.begin(), relative.end(), KXW('\\'), KXW('/'));
  const std::optional<KxWString> path = KxProcess_FullPath(folder, relative);
  return path ? KxFile_FullPath(*path) : std::nullopt;
}

std::optional<SkxShortcutTarget> TargetOf(CkxTextView path) {
  if (!KxText_Equals(KxPath_Extension(path), KXW(".lnk"), false)) return std::nullopt;
  const auto bytes = KxFile_ReadAll(path, kKxMaxShortcutBytes);
  const std::optional<SkxShortcut> shortcut = bytes ? KxShortcut_Read(*bytes) : std::nullopt;
  if (!shortcut) return std::nullopt;
  std::optional<KxWString> target = FileAt(KxMachineVariables_Expand(shortcut->target));
  if (!target) target = FileAt(FromFolderOf(path, KxMachineVariables_Expand(shortcut->relativePath)));
  if (!target) return std::nullopt;
  const KxWString folder = KxMachineVariables_Expand(shortcut->startFolder);
  const bool isFull = IsFromSlash(folder) || KxProcess_FullPath(std::nullopt, folder);
  return SkxShortcutTarget{*std::move(target), shortcut->arguments, isFull ? folder : KxWString()};
}

KxWString CommandLineOf(const SkxShortcutTarget& target) {
  const KxWString program = KXW("\"") + target.path + KXW("\"");
  return target.arguments.empty() ? program : program + KXW(" ") + target.arguments;
}

CkxTargetInfoPtr ProgramOf(const SkxShortcutTarget& target, void* userToken) {
  SkxProcess process;
  process.image = target.path;
  process.commandLine = CommandLineOf(target);
  if (!target.startFolder.empty()) process.currentFolder = target.startFolder;
  SkxProcessFacts facts;
  facts.commandLine = process.commandLine;
  auto program = std::make_unique<CkxTargetInfoProcess>(target.path.c_str(), std::move(facts), userToken);
  KxCarriedTarget_Add(process, *program);
  return CkxTargetInfoPtr(program.release());
}

CkxTargetInfoPtr ScriptOf(const SkxShortcutTarget& target, void* userToken) {
  SkxProcessFacts facts;
  facts.commandLine = CommandLineOf(target);
  return CkxTargetInfoPtr(new CkxHostedScript(target.path.c_str(), std::move(facts), userToken));
}

CkxTargetInfoPtr FileOf(const SkxShortcutTarget& target, void* userToken) {
  return CkxTargetInfoPtr(new CkxTargetInfoFile(target.path.c_str(), userToken));
}

}  // namespace

bool KxShortcut_Resolve(const WCHAR* path, void* userToken, SkxShortcutTarget& target) noexcept {
  return KxEntry(false, [&] {
    const CkxImpersonationScope asUser(userToken);
    std::optional<SkxShortcutTarget> found = TargetOf(path);
    if (!found) return false;
    target = *std::move(found);
    return true;
  });
}

CkxTargetInfoPtr KxShortcut_Describe(const WCHAR* path, void* userToken) noexcept {
  return KxEntry(CkxTargetInfoPtr(), [&]() -> CkxTargetInfoPtr {
    SkxShortcutTarget target;
    if (!KxShortcut_Resolve(path, userToken, target)) return nullptr;
    switch (CkxTargetInfoFile::TypeOfPath(target.path)) {
      case EkxPolicyTarget::Executable:
        return ProgramOf(target, userToken);
      case EkxPolicyTarget::Script:
        return ScriptOf(target, userToken);
      default:
        return FileOf(target, userToken);
    }
  });
}
