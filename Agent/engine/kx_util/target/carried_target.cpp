#include "Agent/engine/kx_util/target/carried_target.h"

#include "Agent/engine/kx_util/command/carried_file.h"
#include "Agent/engine/kx_util/target/target_of_type.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/process/process.h"

namespace {

/// A file that the program looks for is only known where it looks first.
std::optional<KxWString> BesideProgram(CkxTextView program, const KxWString& path) {
  const KxWString full = KxPath_Folder(program).ToString() + path;
  return KxFile_Status(full) ? std::optional(full) : std::nullopt;
}

std::optional<KxWString> PathOf(const SkxCarriedFile& carried, const SkxProcess& process) {
  return carried.isSought ? BesideProgram(process.image, carried.path)
                          : KxProcess_FullPath(process.currentFolder, carried.path);
}

CkxTargetInfoPtr MakeCarried(const KxWString& path, const SkxCarriedFile& carried,
                             const CkxTargetInfoProcess& process) {
  const WCHAR* const name = path.c_str();
  void* const token = process.UserToken();
  const bool flag = process.ConstructionFlag();
  switch (carried.kind) {
    case EkxCarriedFile::Script: {
      SkxProcessFacts script;
      script.pid = process.Pid();
      script.commandLine = carried.commandLine;
      return CkxTargetInfoPtr(new CkxHostedScript(name, std::move(script), token, flag));
    }
    case EkxCarriedFile::Package:
      return CkxTargetInfoPtr(new CkxCarriedPackage(name, token, flag));
    case EkxCarriedFile::Library:
    case EkxCarriedFile::PanelItem:
      return CkxTargetInfoPtr(new CkxCarriedLibrary(name, token, flag));
    case EkxCarriedFile::Console:
    case EkxCarriedFile::Archive:
      break;
  }
  return CkxTargetInfoPtr(new CkxTargetInfoFile(name, token, flag));
}

}  // namespace

void KxCarriedTarget_Add(const SkxProcess& process, CkxTargetInfoProcess& target) {
  const std::optional<SkxCarriedFile> carried = KxCarriedFile_Of(process.image, process.commandLine);
  if (!carried) return;
  const CkxImpersonationScope asUser(target.UserToken());
  const std::optional<KxWString> path = PathOf(*carried, process);
  if (path) target.AddLinked(MakeCarried(*path, *carried, target));
}
