#include "Agent/engine/kx_util/process_map/process_map.h"

#include <new>
#include <utility>

#include "Common_CPP/util/text.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kProcMapScope = "KxUtilProcMap";

}  // namespace

CkxProcessMap::~CkxProcessMap() {
  for (const SkxProcessRecord* oldest : {_running.Oldest(), _exited.Oldest()}) {
    for (; oldest != nullptr; oldest = oldest->newer) _system->Close(oldest->protectionHandle);
  }
}

void CkxProcessMap::Start(CkxProcessRecordPtr record) {
  const int64_t now = _system->Now();
  Ended ended;
  {
    const std::lock_guard changing(_lock);
    if (!SkxProcessSlot::CanLeadTo(*record)) throw std::bad_alloc();
    CkxProcessData& data = record->data;
    _running.Reserve(_running.Count() + 1);
    _exited.Reserve(_running.Count() + _exited.Count() + 1);
    if (const SkxProcessSlot* const before = _running.Find(data.Pid)) EndRecord(before->Record(), now, ended);
    const SkxProcessSlot* const parent = _running.Find(data.ParentPid);
    if (parent != nullptr && parent->Record().data.CreationTime <= data.CreationTime) {
      data.ParentCreationTime = parent->Record().data.CreationTime;
      ++parent->Record().data.ChildCount;
      record->isCounted = true;
    }
    _running.Append(std::move(record));
  }
  LetGo(ended);
}

bool CkxProcessMap::End(uint32_t pid) {
  const int64_t now = _system->Now();
  Ended ended;
  {
    const std::lock_guard changing(_lock);
    const SkxProcessSlot* const slot = _running.Find(pid);
    if (slot == nullptr) return false;
    EndRecord(slot->Record(), now, ended);
  }
  LetGo(ended);
  return true;
}

void CkxProcessMap::EndRecord(SkxProcessRecord& record, int64_t now, Ended& ended) noexcept {
  CkxProcessRecordPtr taken = _running.TakeOut(record);
  if (record.isCounted) _OnChildRemoval(record.data, ended);
  if (record.data.ChildCount == 0) {
    ended.record = std::move(taken);
  } else {
    record.data.ExitTime = now;
    _exited.Append(std::move(taken));
  }
}

/// A process that was told of twice has two records of one identity, and which of them its children were counted on
/// cannot be told from them. The running one is asked first; when it counts no child the counts do not agree, and the
/// child was one of the other.
void CkxProcessMap::_OnChildRemoval(const CkxProcessData& child, Ended& ended) noexcept {
  const SkxProcessId id = {child.ParentPid, child.ParentCreationTime};
  const SkxProcessSlot* const running = _running.Find(id);
  if (running != nullptr && running->Record().data.ChildCount != 0) {
    --running->Record().data.ChildCount;
    return;
  }
  const SkxProcessSlot* const exited = _exited.Find(id);
  if (running != nullptr) {
    ended.complaint = "ERROR: Zero childCount.";
  } else if (exited == nullptr) {
    ended.complaint = "ERROR: Cannot find parent by creation time.";
  }
  if (exited == nullptr) return;
  SkxProcessRecord& parent = exited->Record();
  if (--parent.data.ChildCount != 0) return;
  ended.parent = _exited.TakeOut(parent);
}

void CkxProcessMap::LetGo(const Ended& ended) {
  if (ended.complaint != nullptr) KxTrace(EkxTraceLevel::Error, kProcMapScope, ended.complaint);
  for (const CkxProcessRecordPtr* record : {&ended.record, &ended.parent}) {
    if (*record != nullptr) _system->Close((*record)->protectionHandle);
  }
}

bool CkxProcessMap::Protect(uint32_t pid, void* handle, CkxUtilStr fileName) {
  {
    const std::lock_guard changing(_lock);
    const SkxProcessSlot* const slot = _running.Find(pid);
    if (slot == nullptr) return false;
    std::swap(slot->Record().protectionHandle, handle);
    std::swap(slot->Record().data.ProtectedFileName, fileName);
  }
  _system->Close(handle);
  return true;
}

bool CkxProcessMap::IsProtected(uint32_t pid, CkxTextView fileName) const {
  const CkxSpreadLock::Reading reading(_lock);
  const SkxProcessSlot* const slot = _running.Find(pid);
  return slot != nullptr && slot->Record().protectionHandle != nullptr &&
         KxText_Equals(slot->Record().data.ProtectedFileName.View(), fileName, false);
}

bool CkxProcessMap::CopyParent(const CkxTargetInfoProcess& child, CkxProcessData& parent) const {
  const SkxProcessId id = {child.ParentPid(), child.ParentCreationTime()};
  if (id.pid == 0) return false;
  const CkxSpreadLock::Reading reading(_lock);
  const SkxProcessSlot* slot = nullptr;
  if (id.creationTime == 0) {
    slot = _running.Find(id.pid);
    const bool isYounger =
        slot != nullptr && child.CreationTime() != 0 && slot->Record().data.CreationTime > child.CreationTime();
    if (isYounger) slot = nullptr;
  } else {
    slot = _running.Find(id);
    if (slot == nullptr) slot = _exited.Find(id);
  }
  if (slot == nullptr) return false;
  parent = CkxProcessData(slot->Record().data);  // whole or not at all
  return true;
}
