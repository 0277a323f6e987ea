// The process map behind `KxUtilProcMap_...`: who runs, and who has ended and is kept for its children.
//
// A record refers to its parent by number and time of creation, and the parent counts those that do. The count is what
// keeps an ended parent; it is lowered once for each record that it was raised for, whichever way that one ends.
#pragma once

#include <atomic>
#include <mutex>

#include "Agent/engine/kx_util/process_map/process_table.h"
#include "Common_CPP/thread/spread_lock.h"

class CkxProcessMap {
 public:
  explicit CkxProcessMap(std::shared_ptr<IkxProcMapSystem> system) : _system(std::move(system)) {}
  ~CkxProcessMap();
  CkxProcessMap(const CkxProcessMap&) = delete;
  CkxProcessMap& operator=(const CkxProcessMap&) = delete;

  IkxProcMapSystem& System() const { return *_system; }

  /// Of a process that has started; whoever had its number has ended.
  void Start(CkxProcessRecordPtr record);
  bool End(uint32_t pid);

  /// Calls `look(data)` with the record of a running process, which stays as it is meanwhile; false when there is none.
  template <class Look>
  bool LookAt(uint32_t pid, Look look) const {
    const CkxSpreadLock::Reading reading(_lock);
    const SkxProcessRecord* const record = _running.Find(pid);
    if (record == nullptr) return false;
    look(record->data);
    return true;
  }

  /// Calls `change(data)` while nobody else looks.
  template <class Change>
  bool ChangeRecord(uint32_t pid, Change change) {
    const std::lock_guard changing(_lock);
    SkxProcessRecord* const record = _running.Find(pid);
    if (record == nullptr) return false;
    change(record->data);
    return true;
  }

  /// The map's own handle from then on, unless the answer is false.
  bool Protect(uint32_t pid, void* handle, CkxUtilStr fileName);
  bool IsProtected(uint32_t pid, CkxTextView fileName) const;

  bool CopyParent(const CkxTargetInfoProcess& child, CkxProcessData& parent) const;
  void AppendDump(CkxUtilStr& text) const;

 private:
  static uint32_t PidOf(const CkxProcessData& data) { return data.Pid; }
  static SkxProcessId IdOf(const CkxProcessData& data) { return {data.Pid, data.CreationTime}; }

  /// What is no more, to be let go of once the lock is free.
  struct Ended {
    CkxProcessRecordPtr record;
    CkxProcessRecordPtr parent;
    const char* complaint = nullptr;
  };

  void EndRecord(SkxProcessRecord& record, int64_t now, Ended& ended) noexcept;
  void _OnChildRemoval(const CkxProcessData& child, Ended& ended) noexcept;
  void LetGo(const Ended& ended);
  SkxProcessRecord* FindRunning(const SkxProcessId& id) const;

  const std::shared_ptr<IkxProcMapSystem> _system;
  mutable CkxSpreadLock _lock;
  CkxProcessTable<PidOf> _running;  // one of a number
  CkxProcessTable<IdOf> _exited;
};

/// Where a map is, once there is one.
struct SkxProcMapPlace {
  IkxProcMapSystem* recorded = nullptr;  ///< null: the map of this machine
  std::atomic<CkxProcessMap*> map{nullptr};
};

/// The one that counts on this thread.
SkxProcMapPlace& KxProcMap_Place();

/// Null while there is none.
inline CkxProcessMap* KxProcMap_Current() { return KxProcMap_Place().map.load(std::memory_order_acquire); }

/// This machine, as the system tells of it.
std::shared_ptr<IkxProcMapSystem> KxProcMap_LiveSystem();
