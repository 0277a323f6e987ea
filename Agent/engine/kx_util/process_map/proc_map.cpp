#include <kx_util/proc_map.h>

#include "Agent/engine/kx_util/process_map/process_map.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"

namespace {

constinit SkxProcMapPlace placeOfProcess;

const CkxThreadPointer<SkxProcMapPlace>& PlaceOfThread() {
  static const CkxThreadPointer<SkxProcMapPlace> place;
  return place;
}

std::unique_ptr<CkxProcessMap> MakeMap(const SkxProcMapPlace& place) {
  auto system = place.recorded != nullptr
                    ? std::shared_ptr<IkxProcMapSystem>(std::shared_ptr<void>(), place.recorded)  // not owned
                    : KxProcMap_LiveSystem();
  return std::make_unique<CkxProcessMap>(std::move(system));
}

/// Of two threads that are told of a first process at once, one brings the map.
CkxProcessMap& Publish(SkxProcMapPlace& place, std::unique_ptr<CkxProcessMap> made) {
  CkxProcessMap* map = nullptr;
  if (place.map.compare_exchange_strong(map, made.get(), std::memory_order_acq_rel)) map = made.release();
  return *map;
}

}  // namespace

SkxProcMapPlace& KxProcMap_Place() {
  SkxProcMapPlace* const place = PlaceOfThread().Get();
  return place != nullptr ? *place : placeOfProcess;
}

CkxRecordedProcMap::CkxRecordedProcMap(IkxProcMapSystem& system) : _place(std::make_unique<SkxProcMapPlace>()) {
  _place->recorded = &system;
}

CkxRecordedProcMap::~CkxRecordedProcMap() { const std::unique_ptr<CkxProcessMap> map(_place->map.load()); }

CkxProcMapScope::CkxProcMapScope(const CkxRecordedProcMap& map) : _scope(PlaceOfThread(), map._place.get()) {}

bool KxUtilProcMap_OnProcessStart(uint32_t pid, uint32_t parentPid, uint32_t parentTid, CkxTextView path,
                                  CkxTextView runPath, CkxTextView cmdLine, uint32_t sessionId,
                                  uint32_t drvFlags) noexcept {
  return KxEntry(false, [&] {
    SkxProcMapPlace& place = KxProcMap_Place();
    CkxProcessMap* map = KxProcMap_Current();
    std::unique_ptr<CkxProcessMap> made = map == nullptr ? MakeMap(place) : nullptr;
    IkxProcMapSystem& system = map != nullptr ? map->System() : made->System();

    auto record = std::make_unique<SkxProcessRecord>();
    CkxProcessData& data = record->data;
    const std::optional<int64_t> creationTime = system.CreationTime(pid);
    data.CreationTime = creationTime ? *creationTime : system.Now();
    data.Pid = pid;
    data.ParentPid = parentPid;
    data.ParentTid = parentTid;
    data.SessionId = sessionId;
    data.DrvFlags = drvFlags;
    data.Path = path;
    data.RunPath = runPath;
    data.CmdLine = cmdLine;
    if (made != nullptr) map = &Publish(place, std::move(made));
    map->Start(std::move(record));
    return true;
  });
}

bool KxUtilProcMap_OnProcessEnd(uint32_t pid) noexcept {
  CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] { return map->End(pid); });
}

// The system is asked before the lock is taken.
bool KxUtilProcMap_UpdateParentInfo(uint32_t pid, uint32_t parentPid, uint32_t parentTid) noexcept {
  CkxProcessMap* const map = KxProcMap_Current();
  return map != nullptr && KxEntry(false, [&] {
           const std::optional<uint32_t> realPid = map->System().ProcessOfThread(parentTid);
           CkxUtilStr service(map->System().ServicesOf(realPid.value_or(parentPid)));
           return map->ChangeRecord(pid, [&](CkxProcessData& data) {
             data.ParentPidReal = realPid.value_or(0);
             data.ParentSvcName = std::move(service);
           });
         });
}
