// Processes of this machine: what a description of one is made of.
#include "Agent/engine/kx_util/command/carried_file.h"
#include "Agent/engine/kx_util/target/target_of_type.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/process/process.h"

namespace {

/// More than people and installers have. A document of the description nests as deep.
constexpr size_t kMaxAncestors = 48;

/// A process whose user is not known is in no user's scope; and not the caller's own.
std::shared_ptr<void> UserOf(const SkxProcess& process) {
  if (process.user != nullptr) return process.user;
  auto nobody =
      std::make_shared<CkxAccessToken>(CkxSid::FromUtf8(kKxNobody).value_or(CkxSid()), std::vector<CkxSid>{}, false);
  void* const token = nobody->Handle();
  return std::shared_ptr<void>(std::move(nobody), token);
}

SkxProcessFacts FactsOf(const SkxProcess& process) {
  SkxProcessFacts facts;
  facts.pid = process.pid;
  facts.commandLine = process.commandLine;
  facts.services = process.services;
  return facts;
}

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

/// What cannot be found is left out: the command line is still there to be judged.
void AddCarried(const SkxProcess& process, CkxTargetInfoProcess& target) {
  const std::optional<SkxCarriedFile> carried = KxCarriedFile_Of(process.image, process.commandLine);
  if (!carried) return;
  const CkxImpersonationScope asUser(target.UserToken());
  const std::optional<KxWString> path = PathOf(*carried, process);
  if (path) target.AddLinked(MakeCarried(*path, *carried, target));
}

}  // namespace

/// Of the file that has the image's name now nothing is said where it is another one.
CkxTargetInfoPtr CkxTargetInfoProcess::_Describe(const SkxProcess& process, void* userToken, bool flag) {
  std::shared_ptr<void> user = UserOf(process);
  void* const token = userToken != nullptr ? userToken : user.get();
  const KxWString path = process.isKernel ? KxWString(kSystemPseudoFile) : process.image;
  std::unique_ptr<CkxTargetInfoProcess> target;
  if (process.isImageAtPath) {
    target = std::make_unique<CkxTargetInfoProcess>(path.c_str(), FactsOf(process), token, flag);
    AddCarried(process, *target);
  } else {
    SkxFileFacts gone;
    gone.path = path;
    target = std::make_unique<CkxTargetInfoProcess>(std::move(gone), FactsOf(process), token, flag);
  }
  target->_ownUser = std::move(user);
  return CkxTargetInfoPtr(target.release());
}

CkxTargetInfoPtr CkxTargetInfoProcess::CreateFromPid(uint32_t pid, EkxProcessLookup& lookup, void* userToken,
                                                     bool flag) {
  lookup = EkxProcessLookup::Refused;
  CkxTargetInfoPtr described = KxEntry(CkxTargetInfoPtr(), [&]() -> CkxTargetInfoPtr {
    std::vector<SkxProcess> chain;
    const EkxProcessLookup found = KxProcess_ReadChain(pid, kMaxAncestors, chain);
    if (found == EkxProcessLookup::NoSuchProcess) lookup = found;
    if (found != EkxProcessLookup::Found || (userToken == nullptr && chain[0].user == nullptr)) return nullptr;

    CkxTargetInfoPtr target;
    for (size_t i = chain.size(); i-- > 0;) {
      CkxTargetInfoPtr made = _Describe(chain[i], i == 0 ? userToken : nullptr, flag);
      static_cast<CkxTargetInfoProcess&>(*made).SetParent(std::move(target));
      target = std::move(made);
    }
    return target;
  });
  if (described != nullptr) lookup = EkxProcessLookup::Found;
  return described;
}
