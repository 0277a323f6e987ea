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
    const SkxProcessSlot* const slot = _running.Find(pid);
    if (slot == nullptr) return false;
    look(slot->Record().data);
    return true;
  }

  /// The same with what is at hand without the record.
  template <class Look>
  bool LookAtBrief(uint32_t pid, Look look) const {
    const CkxSpreadLock::Reading reading(_lock);
    const SkxProcessSlot* const slot = _running.Find(pid);
    if (slot == nullptr) return false;
    look(*slot);
    return true;
  }

  /// Calls `change(data)` while nobody else looks. What a record is found by does not change.
  template <class Change>
  bool ChangeRecord(uint32_t pid, Change change) {
    const std::lock_guard changing(_lock);
    const SkxProcessSlot* const slot = _running.Find(pid);
    if (slot == nullptr) return false;
    change(slot->Record().data);
    _running.Renew(slot->Record());
    return true;
  }

  /// The map's own handle from then on, unless the answer is false.
  bool Protect(uint32_t pid, void* handle, CkxUtilStr fileName);
  bool IsProtected(uint32_t pid, CkxTextView fileName) const;

  bool CopyParent(const CkxTargetInfoProcess& child, CkxProcessData& parent) const;
  void AppendDump(CkxUtilStr& text) const;

 private:
  /// What is no more, to be let go of once the lock is free.
  struct Ended {
    CkxProcessRecordPtr record;
    CkxProcessRecordPtr parent;
    const char* complaint = nullptr;
  };

  void EndRecord(SkxProcessRecord& record, int64_t now, Ended& ended) noexcept;
  void _OnChildRemoval(const CkxProcessData& child, Ended& ended) noexcept;
  void LetGo(const Ended& ended);

  const std::shared_ptr<IkxProcMapSystem> _system;
  mutable CkxSpreadLock _lock;
  CkxProcessTable _running;  // one of a number
  CkxProcessTable _exited;   // each with children that run; has room for all that run too
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
