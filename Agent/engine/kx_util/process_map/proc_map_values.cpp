// What is asked of one process, and what is kept with it. Copies that need memory are made before the lock is taken
// where something changes.
#include "Agent/engine/kx_util/process_map/process_map.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

using Result = EkxGetCachedPropRes;

/// `look(data)` under the shared lock; false when there is no such process, and when memory is short.
template <class Look>
bool LookAtProcess(uint32_t pid, Look look) noexcept {
  const CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->LookAt(pid, look); });
}

/// The same where the brief says enough.
template <class Look>
bool LookAtBrief(uint32_t pid, Look look) noexcept {
  const CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->LookAtBrief(pid, look); });
}

template <class Change>
bool ChangeProcess(uint32_t pid, Change change) noexcept {
  CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->ChangeRecord(pid, change); });
}

/// `look(data)` says what it found.
template <class Look>
Result ResultOf(uint32_t pid, Look look) noexcept {
  Result result = Result::NoProcess;
  return LookAtProcess(pid, [&](const CkxProcessData& data) { result = look(data); }) ? result : Result::NoProcess;
}

Result FoundText(const CkxUtilStr& text) { return text.IsEmpty() ? Result::FoundEmpty : Result::Found; }

/// One of the two kinds of flags, where it is changed and where it is asked for.
struct FlagsOf {
  CkxProcessData::Flags CkxProcessData::*inRecord;
  bool (SkxProcessSlot::*inBrief)(EkxRestrictedAccessTargetType type) const;
};
constexpr FlagsOf kDialogFlags = {&CkxProcessData::RestrDlgFlags, &SkxProcessSlot::RestrDlgFlag};
constexpr FlagsOf kEventFlags = {&CkxProcessData::RestrEventFlags, &SkxProcessSlot::RestrEventFlag};

bool IsFlagType(EkxRestrictedAccessTargetType type) {
  return static_cast<uint32_t>(type) < kKxRestrictedAccessTargetTypes;
}

bool GetFlag(uint32_t pid, FlagsOf flags, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  flag = false;
  return IsFlagType(type) &&
         LookAtBrief(pid, [&](const SkxProcessSlot& brief) { flag = (brief.*flags.inBrief)(type); });
}

/// `previous` is what it was.
bool SetFlag(uint32_t pid, FlagsOf flags, EkxRestrictedAccessTargetType type, bool& previous) noexcept {
  previous = false;
  return IsFlagType(type) && ChangeProcess(pid, [&](CkxProcessData& data) {
           previous =
               std::exchange((data.*flags.inRecord)[static_cast<size_t>(type)], static_cast<unsigned char>(1)) != 0;
         });
}

bool SetFlag(uint32_t pid, FlagsOf flags, EkxRestrictedAccessTargetType type) noexcept {
  bool ignored = false;
  return SetFlag(pid, flags, type, ignored);
}

/// Most ask after it is set, and those do not keep anybody from reading. Who finds it not set may be one of many: under
/// the lock one of them is the first.
bool GetAndSetFlag(uint32_t pid, FlagsOf flags, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  return GetFlag(pid, flags, type, flag) && (flag || SetFlag(pid, flags, type, flag));
}

bool IsOfTarget(const CkxProcessData& data, const CkxTargetInfoProcess& target) {
  return target.CreationTime() == 0 || target.CreationTime() == data.CreationTime;
}

bool SetProp(const CkxTargetInfoProcess& target, CkxTextView name, std::optional<CkxUtilStr> value) noexcept {
  bool isOfTarget = false;
  return KxEntry(false, [&] {
    CkxProcessData::Props one;
    one.emplace(name.ToString(), std::move(value));
    return ChangeProcess(target.Pid(),
                         [&](CkxProcessData& data) {
                           isOfTarget = IsOfTarget(data, target);
                           if (!isOfTarget) return;
                           const auto known = data.CachedProps.find(one.begin()->first);
                           if (known != data.CachedProps.end()) {
                             std::swap(known->second, one.begin()->second);
                           } else {
                             data.CachedProps.merge(one);
                           }
                         }) &&
           isOfTarget;
  });
}

}  // namespace

bool KxUtilProcMap_FindProcessData(uint32_t pid, CkxProcessData& data) noexcept {
  return LookAtProcess(pid, [&](const CkxProcessData& found) { data = CkxProcessData(found); });
}

bool KxUtilProcMap_FindParentProcessData(const CkxTargetInfoProcess& target, CkxProcessData& data) noexcept {
  const CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->CopyParent(target, data); });
}

bool KxUtilProcMap_SetPolicyData(uint32_t pid, const SkxProcessPolicyData& policyData) noexcept {
  return ChangeProcess(pid, [&](CkxProcessData& data) { data.PolicyData = policyData; });
}

EkxGetCachedPropRes KxUtilProcMap_GetPolicyData(uint32_t pid, SkxProcessPolicyData& policyData) noexcept {
  return ResultOf(pid, [&](const CkxProcessData& data) {
    if (!data.PolicyDataInitialized()) return Result::NotStored;
    policyData = data.PolicyData;
    return policyData.IsEmpty() ? Result::FoundEmpty : Result::Found;
  });
}

bool KxUtilProcMap_AddZeroTouchState(uint32_t pid, uint32_t bits) noexcept {
  return ChangeProcess(pid, [&](CkxProcessData& data) { data.ZeroTouchState |= bits; });
}

bool KxUtilProcMap_GetZeroTouchState(uint32_t pid, uint32_t& state) noexcept {
  return LookAtBrief(pid, [&](const SkxProcessSlot& brief) { state = brief.ZeroTouchState(); });
}

EkxGetCachedPropRes KxUtilProcMap_GetImagePath(uint32_t pid, CkxUtilStr& path) noexcept {
  path.Empty();
  return ResultOf(pid, [&](const CkxProcessData& data) {
    if (data.Path.IsEmpty() && data.CmdLine.IsEmpty()) return Result::NotStored;
    path = data.Path;
    return FoundText(path);
  });
}

EkxGetCachedPropRes KxUtilProcMap_GetImagePathAndCmdLine(uint32_t pid, CkxUtilStr& path, CkxUtilStr& cmdLine) noexcept {
  path.Empty();
  cmdLine.Empty();
  return ResultOf(pid, [&](const CkxProcessData& data) {
    if (data.Path.IsEmpty() && data.CmdLine.IsEmpty()) return Result::NotStored;
    CkxUtilStr foundPath = data.Path;
    cmdLine = data.CmdLine;
    path = std::move(foundPath);
    return Result::Found;
  });
}

bool KxUtilProcMap_GetParentSvcName(uint32_t pid, CkxUtilStr& svcName) noexcept {
  svcName.Empty();
  return LookAtProcess(pid, [&](const CkxProcessData& data) { svcName = data.ParentSvcName; });
}

bool KxUtilProcMap_SetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type) noexcept {
  return SetFlag(pid, kDialogFlags, type);
}
bool KxUtilProcMap_GetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  return GetFlag(pid, kDialogFlags, type, flag);
}
bool KxUtilProcMap_GetAndSetRestrDlgFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  return GetAndSetFlag(pid, kDialogFlags, type, flag);
}
bool KxUtilProcMap_SetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type) noexcept {
  return SetFlag(pid, kEventFlags, type);
}
bool KxUtilProcMap_GetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  return GetFlag(pid, kEventFlags, type, flag);
}
bool KxUtilProcMap_GetAndSetRestrEventFlag(uint32_t pid, EkxRestrictedAccessTargetType type, bool& flag) noexcept {
  return GetAndSetFlag(pid, kEventFlags, type, flag);
}

bool KxUtilProcMap_MarkAsSetupExe(uint32_t pid) noexcept {
  return ChangeProcess(pid, [](CkxProcessData& data) { data.IsSetupExe = true; });
}

bool KxUtilProcMap_IsSetupExe(uint32_t pid, bool& isSetup) noexcept {
  isSetup = false;
  return LookAtBrief(pid, [&](const SkxProcessSlot& brief) { isSetup = brief.IsSetupExe(); });
}

bool KxUtilProcMap_SetProctionHandle(uint32_t pid, void* handle, CkxTextView fileName) noexcept {
  CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->Protect(pid, handle, CkxUtilStr(fileName)); });
}

bool KxUtilProcMap_FileIsProtected(uint32_t pid, CkxTextView fileName) noexcept {
  const CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->IsProtected(pid, fileName); });
}

EkxGetCachedPropRes KxUtilProcMap_GetCachedProp(const CkxTargetInfoProcess& target, CkxTextView name,
                                                CkxUtilStr& value) noexcept {
  value.Empty();
  Result result = Result::NoProcess;
  const bool isKnown = KxEntry(false, [&] {
    const KxWString key = name.ToString();
    return LookAtProcess(target.Pid(), [&](const CkxProcessData& data) {
      if (!IsOfTarget(data, target)) return;
      const auto prop = data.CachedProps.find(key);
      if (prop != data.CachedProps.end() && prop->second) value = *prop->second;
      result = prop == data.CachedProps.end() ? Result::NotStored : FoundText(value);
    });
  });
  return isKnown ? result : Result::NoProcess;
}

bool KxUtilProcMap_SetCachedProp(const CkxTargetInfoProcess& target, CkxTextView name, CkxTextView value) noexcept {
  if (value.IsEmpty()) return SetProp(target, name, std::nullopt);
  return KxEntry(false, [&] { return SetProp(target, name, CkxUtilStr(value)); });
}

bool KxUtilProcMap_SetEmptyCachedProp(const CkxTargetInfoProcess& target, CkxTextView name) noexcept {
  return SetProp(target, name, std::nullopt);
}

bool KxUtilProcMap_RemoveCachedProp(const CkxTargetInfoProcess& target, CkxTextView name) noexcept {
  bool isOfTarget = false;
  return KxEntry(false, [&] {
    const KxWString key = name.ToString();
    return ChangeProcess(target.Pid(),
                         [&](CkxProcessData& data) {
                           isOfTarget = IsOfTarget(data, target);
                           if (isOfTarget) data.CachedProps.erase(key);
                         }) &&
           isOfTarget;
  });
}

EkxGetCachedPropRes KxUtilProcMap_GetPublisher(uint32_t pid, CkxUtilStr& publisher,
                                               EkxPublisherStatus& status) noexcept {
  publisher.Empty();
  status = EkxPublisherStatus::Unknown;
  return ResultOf(pid, [&](const CkxProcessData& data) {
    if (!data.Publisher) return Result::NotStored;
    publisher = *data.Publisher;
    status = data.PublisherStatus;
    return FoundText(publisher);
  });
}

bool KxUtilProcMap_SetPublisher(uint32_t pid, CkxTextView publisher, EkxPublisherStatus status) noexcept {
  return KxEntry(false, [&] {
    std::optional<CkxUtilStr> text(publisher);
    return ChangeProcess(pid, [&](CkxProcessData& data) {
      std::swap(data.Publisher, text);
      data.PublisherStatus = status;
    });
  });
}

bool KxUtilProcMap_GetProcParamsForNetAccess(uint32_t pid, SkxProcParamsForNetAccess& params) noexcept {
  return LookAtProcess(pid, [&](const CkxProcessData& data) {
    SkxProcParamsForNetAccess found;
    found.Path = data.Path;
    if (data.PolicyDataInitialized()) found.PolicyData = data.PolicyData;
    found.ParentSvcName = data.ParentSvcName;
    if (data.Publisher) found.Publisher = *data.Publisher;
    found.PublisherStatus = data.PublisherStatus;
    params = std::move(found);
  });
}
