// Makes compound files, for tests: a root with streams, in sectors of either size. The directory comes first, so that
// its entries can be found and broken.
#pragma once

#include <algorithm>
#include <string>

#include "tests/support/record_bytes.h"

class CkxTestCompound {
 public:
  static constexpr size_t kHeader = 512;
  static constexpr size_t kEntry = 128;
  static constexpr uint32_t kEnd = 0xFFFFFFFE;
  static constexpr uint32_t kFree = 0xFFFFFFFF;

  /// Sectors of 512 bytes, or of 4096. The first four bytes of the class id are those of `classId`.
  explicit CkxTestCompound(size_t sector = 512, uint32_t classId = 0) : _sector(sector), _classId(classId) {}

  /// Streams of less than 4096 bytes are small ones.
  CkxTestCompound& Stream(std::u16string name, const KxBytes& content) {
    _streams.push_back({std::move(name), content});
    return *this;
  }

  /// Where entry `number` begins; the root is 0, the streams follow in the order of their names.
  size_t EntryAt(size_t number) const { return _sector + number * kEntry; }

  KxBytes Bytes() {
    std::sort(_streams.begin(), _streams.end(), [](const auto& a, const auto& b) {
      return a.name.size() != b.name.size() ? a.name.size() < b.name.size() : a.name < b.name;
    });
    _table.clear();
    _body.clear();
    const uint32_t directory = Allocate(KxBytes((_streams.size() + 1) * kEntry));
    CkxRecordBytes entries, small, smallTable;
    std::vector<std::pair<uint32_t, uint64_t>> places;
    for (const SkxStream& stream : _streams) {
      if (stream.content.empty()) {
        places.emplace_back(kEnd, 0);
      } else if (stream.content.size() < 4096) {
        places.emplace_back(static_cast<uint32_t>(small.Size() / 64), stream.content.size());
        small.Append(stream.content).Align(64);
        for (size_t piece = smallTable.Size() / 4; piece < small.Size() / 64; ++piece) {
          smallTable.U32(piece + 1 == small.Size() / 64 ? kEnd : static_cast<uint32_t>(piece + 1));
        }
      } else {
        places.emplace_back(Allocate(stream.content), stream.content.size());
      }
    }
    const uint32_t smallAt = Allocate(small.Bytes());
    while (smallTable.Size() % _sector != 0) smallTable.U32(kFree);
    const uint32_t smallTableAt = Allocate(smallTable.Bytes());

    Entry(entries, u"Root Entry", 5, kFree, _streams.empty() ? kFree : 1, smallAt, small.Size());
    for (size_t i = 0; i < _streams.size(); ++i) {
      const uint32_t right = i + 1 < _streams.size() ? static_cast<uint32_t>(i + 2) : kFree;
      Entry(entries, _streams[i].name, 2, right, kFree, places[i].first, places[i].second);
    }
    const KxBytes directoryBytes = entries.Bytes();
    std::copy(directoryBytes.begin(), directoryBytes.end(), _body.begin());
    return WithTables(directory, smallTableAt, static_cast<uint32_t>(smallTable.Size() / _sector));
  }

 private:
  struct SkxStream {
    std::u16string name;
    KxBytes content;
  };

  uint32_t Allocate(const KxBytes& content) {
    if (content.empty()) return kEnd;
    const auto first = static_cast<uint32_t>(_table.size());
    _body.insert(_body.end(), content.begin(), content.end());
    _body.resize((_body.size() + _sector - 1) / _sector * _sector);
    while (_table.size() < _body.size() / _sector) _table.push_back(static_cast<uint32_t>(_table.size() + 1));
    _table.back() = kEnd;
    return first;
  }

  void Entry(CkxRecordBytes& entries, std::u16string_view name, unsigned kind, uint32_t right, uint32_t child,
             uint32_t at, uint64_t size) const {
    const size_t begin = entries.Size();
    entries.Plain(name).PadTo(begin + 64).U16(static_cast<unsigned>(name.size() * 2 + 2)).U8(kind).U8(1);
    entries.U32(kFree).U32(right).U32(child).U32(kind == 5 ? _classId : 0).U32(0).U32(0xC0).U32(0x46000000);
    entries.PadTo(begin + 116).U32(at).U64(size);
  }

  /// The allocation table behind everything else, in numbers of the header and then of sectors of their own.
  KxBytes WithTables(uint32_t directory, uint32_t smallTable, uint32_t smallTableSectors) {
    const size_t perSector = _sector / 4;
    size_t tables = 0, lists = 0;
    for (size_t before = 1; before != tables + lists;) {
      before = tables + lists;
      tables = (_table.size() + before + perSector - 1) / perSector;
      lists = tables > 109 ? (tables - 109 + perSector - 2) / (perSector - 1) : 0;
    }
    const size_t firstTable = _table.size(), firstList = firstTable + tables;
    for (size_t i = 0; i < tables; ++i) _table.push_back(0xFFFFFFFD);
    for (size_t i = 0; i < lists; ++i) _table.push_back(0xFFFFFFFC);

    CkxRecordBytes file;
    file.U32(0xE011CFD0).U32(0xE11AB1A1).Zeros(16).U16(0x3E).U16(_sector == 512 ? 3 : 4).U16(0xFFFE);
    file.U16(_sector == 512 ? 9 : 12).U16(6).Zeros(6).U32(0).U32(static_cast<uint32_t>(tables)).U32(directory).U32(0);
    file.U32(4096).U32(smallTable).U32(smallTableSectors);
    file.U32(lists != 0 ? static_cast<uint32_t>(firstList) : kEnd).U32(static_cast<uint32_t>(lists));
    for (size_t i = 0; i < 109; ++i) file.U32(i < tables ? static_cast<uint32_t>(firstTable + i) : kFree);
    file.PadTo(_sector).Append(_body);
    for (const uint32_t next : _table) file.U32(next);
    while (file.Size() < _sector * (1 + firstList)) file.U32(kFree);
    for (size_t list = 0, table = 109; list < lists; ++list) {
      for (size_t i = 0; i + 1 < perSector; ++i, ++table) {
        file.U32(table < tables ? static_cast<uint32_t>(firstTable + table) : kFree);
      }
      file.U32(list + 1 < lists ? static_cast<uint32_t>(firstList + list + 1) : kEnd);
    }
    return file.Bytes();
  }

  const size_t _sector;
  const uint32_t _classId;
  std::vector<SkxStream> _streams;
  std::vector<uint32_t> _table;
  KxBytes _body;
};
