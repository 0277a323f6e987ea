#include "Agent/engine/kx_util/process_map/process_table.h"

#include <new>

namespace {

uint64_t BitsOf(const CkxProcessData::Flags& flags) {
  uint64_t bits = 0;
  for (size_t type = 0; type < flags.size(); ++type) bits |= uint64_t{flags[type] != 0} << type;
  return bits;
}

}  // namespace

void SkxProcessSlot::Renew() {
  constexpr uint64_t kAllTypes = (1U << kKxRestrictedAccessTargetTypes) - 1;
  const CkxProcessData& data = Record().data;
  _restrDlgFlags = BitsOf(data.RestrDlgFlags) & kAllTypes;
  _restrEventFlags = BitsOf(data.RestrEventFlags) & kAllTypes;
  _isSetupExe = data.IsSetupExe ? 1 : 0;
  _zeroTouchState = data.ZeroTouchState;
}

/// A fifth of the slots stays free: searches are short, and the table is no larger than it must be, since how fast it
/// is asked depends on how much of it the processor has at hand.
void CkxProcessTable::Reserve(size_t count) {
  size_t size = _slots.size();
  while (count * 5 > size * 4) size *= 2;
  if (size == _slots.size()) return;
  Slots before;
  try {
    before = Slots(size);
  } catch (const std::bad_alloc&) {
    if (count < _slots.size()) return;
    throw;
  }
  _slots.swap(before);
  // From behind a free slot on: there those of one number are in their order.
  size_t first = 0;
  while (!before[first].IsFree()) ++first;
  for (size_t i = 0; i < before.size(); ++i) {
    const SkxProcessSlot& slot = before[(first + i) & (before.size() - 1)];
    if (!slot.IsFree()) Put(slot);
  }
}

void CkxProcessTable::Append(CkxProcessRecordPtr record) noexcept {
  SkxProcessRecord& added = *record.release();
  Put(SkxProcessSlot(added));

  added.older = _newest;
  added.newer = nullptr;
  (_newest != nullptr ? _newest->newer : _oldest) = &added;
  _newest = &added;
  ++_count;
}

CkxProcessRecordPtr CkxProcessTable::TakeOut(SkxProcessRecord& record) noexcept {
  Free(SlotOf(record));
  (record.older != nullptr ? record.older->newer : _oldest) = record.newer;
  (record.newer != nullptr ? record.newer->older : _newest) = record.older;
  --_count;
  return CkxProcessRecordPtr(&record);
}

SkxProcessSlot& CkxProcessTable::SlotOf(const SkxProcessRecord& record) {
  size_t at = HomeOf(record.data.Pid);
  while (&_slots[at].Record() != &record) at = Behind(at);
  return _slots[at];
}

void CkxProcessTable::Put(const SkxProcessSlot& slot) noexcept {
  size_t at = HomeOf(slot.Pid());
  while (!_slots[at].IsFree()) at = Behind(at);
  _slots[at] = slot;
}

/// Whoever lies behind, as far as no slot is free, and was led past the one that gets free moves into it, and leaves
/// one free in turn.
void CkxProcessTable::Free(const SkxProcessSlot& slot) noexcept {
  auto hole = static_cast<size_t>(&slot - _slots.data());
  for (size_t at = Behind(hole); !_slots[at].IsFree(); at = Behind(at)) {
    const size_t fromHome = (at - HomeOf(_slots[at].Pid())) & Mask();
    const size_t fromHole = (at - hole) & Mask();
    if (fromHome < fromHole) continue;
    _slots[hole] = _slots[at];
    hole = at;
  }
  _slots[hole] = SkxProcessSlot();
}
