// One collection of records of processes: in the order in which they came, and found by the number of the process.
//
// The order is a chain that the records are linked into by themselves. The finding is a table of slots, four of which
// fill a line of memory: what is asked of processes most is answered by the slot itself, so that a question costs one
// line however many processes there are, and whoever needs the record goes on to it.
//
//   slot   where the record is and what is asked most, number of the process                                 16 bytes
//
// A slot lies where the number leads or, where that is taken, behind it with only taken ones between; the last is
// followed by the first. Of several records of one number the oldest comes first.
//
// Room is made before it is needed. So a record moves from one collection to the other, when its process ends, whatever
// the system is short of.
#pragma once

#include <kx_util/proc_map.h>

#include <memory>
#include <vector>

#include "Common_CPP/process/process.h"

struct SkxProcessRecord {
  CkxProcessData data;
  void* protectionHandle = nullptr;  ///< the record's owner closes it
  bool isCounted = false;            ///< as a child, by its parent

  // The table's own.
  SkxProcessRecord* older = nullptr;
  SkxProcessRecord* newer = nullptr;
};

using CkxProcessRecordPtr = std::unique_ptr<SkxProcessRecord>;

/// Of a process, what every component asks on every way, and where the record is. That says the same, and is what is
/// changed.
class SkxProcessSlot {
 public:
  /// Addresses of programs have 48 bits; where they should have more, a record is where no slot leads to.
  static bool CanLeadTo(const SkxProcessRecord& record) {
    return (reinterpret_cast<uintptr_t>(&record) & ~uintptr_t{kAddress}) == 0;
  }

  SkxProcessSlot() = default;  ///< free
  explicit SkxProcessSlot(SkxProcessRecord& record)
      : _address(reinterpret_cast<uintptr_t>(&record) & kAddress), _pid(record.data.Pid) {
    Renew();
  }

  bool IsFree() const { return _address == 0; }
  SkxProcessRecord& Record() const {
    return *reinterpret_cast<SkxProcessRecord*>(uintptr_t{_address});  // NOLINT(performance-no-int-to-ptr): see below
  }
  uint32_t Pid() const { return _pid; }
  uint32_t ZeroTouchState() const { return _zeroTouchState; }
  bool IsSetupExe() const { return _isSetupExe != 0; }

  /// Of a type that is one.
  bool RestrDlgFlag(EkxRestrictedAccessTargetType type) const { return IsSet(_restrDlgFlags, type); }
  bool RestrEventFlag(EkxRestrictedAccessTargetType type) const { return IsSet(_restrEventFlags, type); }

  /// After a change of the record.
  void Renew();

 private:
  static bool IsSet(uint64_t bits, EkxRestrictedAccessTargetType type) {
    return (bits >> static_cast<uint32_t>(type) & 1) != 0;
  }

  // An address in place of a pointer makes it half as large: of such a table the processor has twice as much at hand.
  static constexpr uint32_t kAddressBits = 51;
  static constexpr uint64_t kAddress = (uint64_t{1} << kAddressBits) - 1;
  uint64_t _address : kAddressBits = 0;
  uint64_t _restrDlgFlags : kKxRestrictedAccessTargetTypes = 0;  // a bit a type, the lowest for type 0
  uint64_t _restrEventFlags : kKxRestrictedAccessTargetTypes = 0;
  uint64_t _isSetupExe : 1 = 0;
  uint32_t _pid = 0;
  uint32_t _zeroTouchState = 0;
};
static_assert(sizeof(SkxProcessSlot) == 16);

/// Owns its records. A slot that it hands out holds until a record is added or taken out.
class CkxProcessTable {
 public:
  CkxProcessTable() : _slots(16) {}
  CkxProcessTable(const CkxProcessTable&) = delete;
  CkxProcessTable& operator=(const CkxProcessTable&) = delete;
  ~CkxProcessTable() {
    while (_oldest != nullptr) TakeOut(*_oldest);
  }

  size_t Count() const { return _count; }
  SkxProcessRecord* Oldest() const { return _oldest; }

  /// Null when there is none.
  const SkxProcessSlot* Find(uint32_t pid) const {
    return Find(pid, [](const SkxProcessSlot&) { return true; });
  }
  const SkxProcessSlot* Find(const SkxProcessId& id) const {
    return Find(id.pid, [&](const SkxProcessSlot& slot) { return slot.Record().data.CreationTime == id.creationTime; });
  }

  /// Room for `count` records; throws std::bad_alloc where there is none, with nothing changed. While there is no
  /// memory for a larger table, the one that is there is filled to its last slot but one, and finding takes longer.
  void Reserve(size_t count);

  /// As the newest; there must be room.
  void Append(CkxProcessRecordPtr record) noexcept;

  /// Of a record that is in the table, which is the caller's then.
  CkxProcessRecordPtr TakeOut(SkxProcessRecord& record) noexcept;

  /// Of a record that was changed: what is asked most of it.
  void Renew(const SkxProcessRecord& record) noexcept { SlotOf(record).Renew(); }

 private:
  using Slots = std::vector<SkxProcessSlot>;

  /// Numbers of processes are close to each other, and on Windows multiples of four: the product spreads them over its
  /// upper half.
  size_t HomeOf(uint32_t pid) const { return static_cast<size_t>(pid * 0x9E3779B97F4A7C15U >> 32) & Mask(); }
  size_t Mask() const { return _slots.size() - 1; }
  size_t Behind(size_t at) const { return (at + 1) & Mask(); }

  template <class Is>
  const SkxProcessSlot* Find(uint32_t pid, Is is) const {
    for (size_t at = HomeOf(pid); !_slots[at].IsFree(); at = Behind(at)) {
      if (_slots[at].Pid() == pid && is(_slots[at])) return &_slots[at];
    }
    return nullptr;
  }

  SkxProcessSlot& SlotOf(const SkxProcessRecord& record);
  void Put(const SkxProcessSlot& slot) noexcept;
  void Free(const SkxProcessSlot& slot) noexcept;

  Slots _slots;  // a power of two of them, with a free one at least, where every search ends
  SkxProcessRecord* _oldest = nullptr;
  SkxProcessRecord* _newest = nullptr;
  size_t _count = 0;
};
