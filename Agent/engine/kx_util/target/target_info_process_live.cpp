// Processes of this machine: what a description of one is made of.
#include "Agent/engine/kx_util/target/carried_target.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
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

/// `parent` is null when nobody has the parent's number, or somebody younger.
SkxProcessFacts FactsOf(const SkxProcess& process, const SkxProcess* parent) {
  SkxProcessFacts facts;
  facts.pid = process.pid;
  facts.creationTime = process.creationTime;
  facts.parentPid = process.parentPid;
  if (parent != nullptr) facts.parentCreationTime = parent->creationTime;
  facts.commandLine = process.commandLine;
  facts.services = process.services;
  return facts;
}

}  // namespace

/// Of the file that has the image's name now nothing is said where it is another one.
CkxTargetInfoPtr CkxTargetInfoProcess::_Describe(const SkxProcess& process, const SkxProcess* parent, void* userToken,
                                                 bool flag) {
  std::shared_ptr<void> user = UserOf(process);
  void* const token = userToken != nullptr ? userToken : user.get();
  const KxWString path = process.isKernel ? KxWString(kSystemPseudoFile) : process.image;
  std::unique_ptr<CkxTargetInfoProcess> target;
  if (process.isImageAtPath) {
    target = std::make_unique<CkxTargetInfoProcess>(path.c_str(), FactsOf(process, parent), token, flag);
    KxCarriedTarget_Add(process, *target);
  } else {
    SkxFileFacts gone;
    gone.path = path;
    target = std::make_unique<CkxTargetInfoProcess>(std::move(gone), FactsOf(process, parent), token, flag);
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
      const SkxProcess* const parent = i + 1 < chain.size() ? &chain[i + 1] : nullptr;
      CkxTargetInfoPtr made = _Describe(chain[i], parent, i == 0 ? userToken : nullptr, flag);
      static_cast<CkxTargetInfoProcess&>(*made).SetParent(std::move(target));
      target = std::move(made);
    }
    return target;
  });
  if (described != nullptr) lookup = EkxProcessLookup::Found;
  return described;
}
