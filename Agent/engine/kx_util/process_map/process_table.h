// One collection of records of processes: in the order in which they came, and found by a key without a walk.
//
// Records are linked into both by themselves, so that none of the operations needs memory: a process that ends moves
// from one table to the other whatever the system is short of. Of several records with one key the oldest is found.
// More places for keys are made as records come; while there is no memory for them, finding takes longer, and that is
// all.
#pragma once

#include <kx_util/proc_map.h>

#include <new>
#include <vector>

#include "Common_CPP/process/process.h"

struct SkxProcessRecord {
  CkxProcessData data;
  void* protectionHandle = nullptr;  ///< the record's owner closes it
  bool isCounted = false;            ///< as a child, by its parent

  // The tables' own.
  SkxProcessRecord* older = nullptr;
  SkxProcessRecord* newer = nullptr;
  SkxProcessRecord* nextInPlace = nullptr;  ///< of those with keys of the same place, oldest first
};

using CkxProcessRecordPtr = std::unique_ptr<SkxProcessRecord>;

/// `KeyOf` is what of a record it is found by. Owns its records.
template <auto KeyOf>
class CkxProcessTable {
 public:
  using Key = decltype(KeyOf(std::declval<const CkxProcessData&>()));

  CkxProcessTable() : _places(16) {}
  CkxProcessTable(const CkxProcessTable&) = delete;
  CkxProcessTable& operator=(const CkxProcessTable&) = delete;
  ~CkxProcessTable() {
    while (_oldest != nullptr) TakeOut(*_oldest);
  }

  size_t Count() const { return _count; }
  SkxProcessRecord* Oldest() const { return _oldest; }

  /// Null when there is none.
  SkxProcessRecord* Find(const Key& key) const {
    SkxProcessRecord* record = _places[PlaceOf(key)];
    while (record != nullptr && !(KeyOf(record->data) == key)) record = record->nextInPlace;
    return record;
  }

  /// As the newest.
  void Append(CkxProcessRecordPtr record) noexcept {
    if (_count >= _places.size()) MakePlaces();
    SkxProcessRecord& added = *record.release();
    added.older = _newest;
    added.newer = nullptr;
    (_newest != nullptr ? _newest->newer : _oldest) = &added;
    _newest = &added;
    ++_count;
    PutInPlace(added);
  }

  /// Of a record that is in the table, which is the caller's then.
  CkxProcessRecordPtr TakeOut(SkxProcessRecord& record) noexcept {
    SkxProcessRecord** link = &_places[PlaceOf(KeyOf(record.data))];
    while (*link != &record) link = &(*link)->nextInPlace;
    *link = record.nextInPlace;
    (record.older != nullptr ? record.older->newer : _oldest) = record.newer;
    (record.newer != nullptr ? record.newer->older : _newest) = record.older;
    --_count;
    return CkxProcessRecordPtr(&record);
  }

 private:
  static uint64_t Number(uint32_t pid) { return pid; }
  static uint64_t Number(const SkxProcessId& id) { return id.pid ^ static_cast<uint64_t>(id.creationTime) << 20; }

  /// Numbers of processes are close to each other, and on Windows multiples of four: the product spreads them over its
  /// upper half.
  size_t PlaceOf(const Key& key) const {
    return static_cast<size_t>(Number(key) * 0x9E3779B97F4A7C15U >> 32) & (_places.size() - 1);
  }

  void PutInPlace(SkxProcessRecord& record) noexcept {
    SkxProcessRecord** link = &_places[PlaceOf(KeyOf(record.data))];
    while (*link != nullptr) link = &(*link)->nextInPlace;
    *link = &record;
    record.nextInPlace = nullptr;
  }

  void MakePlaces() noexcept {
    try {
      _places = std::vector<SkxProcessRecord*>(_places.size() * 2);
    } catch (const std::bad_alloc&) {
      return;
    }
    for (SkxProcessRecord* record = _oldest; record != nullptr; record = record->newer) PutInPlace(*record);
  }

  std::vector<SkxProcessRecord*> _places;  // a power of two of them
  SkxProcessRecord* _oldest = nullptr;
  SkxProcessRecord* _newest = nullptr;
  size_t _count = 0;
};
