#include "Agent/engine/kx_util/process_map/process_map.h"

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
    CkxProcessData& data = record->data;
    if (SkxProcessRecord* const before = _running.Find(data.Pid)) EndRecord(*before, now, ended);
    SkxProcessRecord* const parent = _running.Find(data.ParentPid);
    if (parent != nullptr && parent->data.CreationTime <= data.CreationTime) {
      data.ParentCreationTime = parent->data.CreationTime;
      ++parent->data.ChildCount;
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
    SkxProcessRecord* const record = _running.Find(pid);
    if (record == nullptr) return false;
    EndRecord(*record, now, ended);
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
  SkxProcessRecord* const running = FindRunning(id);
  if (running != nullptr && running->data.ChildCount != 0) {
    --running->data.ChildCount;
    return;
  }
  SkxProcessRecord* const exited = _exited.Find(id);
  if (exited != nullptr && --exited->data.ChildCount == 0) ended.parent = _exited.TakeOut(*exited);
  if (running != nullptr) {
    ended.complaint = "ERROR: Zero childCount.";
  } else if (exited == nullptr) {
    ended.complaint = "ERROR: Cannot find parent by creation time.";
  }
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
    SkxProcessRecord* const record = _running.Find(pid);
    if (record == nullptr) return false;
    std::swap(record->protectionHandle, handle);
    std::swap(record->data.ProtectedFileName, fileName);
  }
  _system->Close(handle);
  return true;
}

bool CkxProcessMap::IsProtected(uint32_t pid, CkxTextView fileName) const {
  const CkxSpreadLock::Reading reading(_lock);
  const SkxProcessRecord* const record = _running.Find(pid);
  return record != nullptr && record->protectionHandle != nullptr &&
         KxText_Equals(record->data.ProtectedFileName.View(), fileName, false);
}

SkxProcessRecord* CkxProcessMap::FindRunning(const SkxProcessId& id) const {
  SkxProcessRecord* const record = _running.Find(id.pid);
  return record != nullptr && record->data.CreationTime == id.creationTime ? record : nullptr;
}

bool CkxProcessMap::CopyParent(const CkxTargetInfoProcess& child, CkxProcessData& parent) const {
  const SkxProcessId id = {child.ParentPid(), child.ParentCreationTime()};
  if (id.pid == 0) return false;
  const CkxSpreadLock::Reading reading(_lock);
  const SkxProcessRecord* record = nullptr;
  if (id.creationTime == 0) {
    record = _running.Find(id.pid);
    const bool isYounger =
        record != nullptr && child.CreationTime() != 0 && record->data.CreationTime > child.CreationTime();
    if (isYounger) record = nullptr;
  } else {
    record = FindRunning(id);
    if (record == nullptr) record = _exited.Find(id);
  }
  if (record == nullptr) return false;
  parent = CkxProcessData(record->data);  // whole or not at all
  return true;
}
