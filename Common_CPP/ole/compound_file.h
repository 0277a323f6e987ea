// Compound files (OLE2 structured storage): a small file system of storages and streams in one file, as installer
// packages are. Read by position and within limits, so that a file may be as long or as broken as it likes.
//
//   0                  header, 512 bytes: D0 CF 11 E0 A1 B1 1A E1; version, sizes of sectors, where the tables begin
//   sectors            512 bytes each in version 3, 4096 in version 4; the first one begins where a sector of the
//                      header's size ends
//   allocation table   for each sector the number of the next one of its chain, in sectors of its own. Which those are
//                      say the first 109 numbers in the header, then a chain of sectors that hold nothing else
//   directory          a chain of entries, 128 bytes each: name, kind, the tree that it is in, where its bytes begin
//   streams            of 4096 bytes and more: a chain of sectors; of less: a chain of pieces of 64 bytes in the
//                      stream of the root, with an allocation table of their own
//
// What a storage holds is a search tree, which is walked as the system does: an entry that the system would not find by
// its name is not found here either. A chain is followed for as long as its stream has bytes, and no stream has more
// than its reader takes, so that a loop in one ends as well.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include "Common_CPP/file/byte_source.h"
#include "Common_CPP/util/text_view.h"

enum class EkxCompoundEntry : unsigned char { Unused = 0, Storage = 1, Stream = 2, Root = 5 };

struct SkxCompoundEntry {
  KxWString name;
  EkxCompoundEntry kind = EkxCompoundEntry::Unused;
  GUID classId{};                         ///< of a storage: what it is
  std::array<unsigned char, 4> state{};   ///< of the program that it belongs to
  std::array<unsigned char, 16> times{};  ///< when it was made, and when it was changed
  uint32_t left = 0;    ///< in the tree of its storage: what comes before, by number; `kNone` when nothing does
  uint32_t right = 0;   ///< what comes behind
  uint32_t child = 0;   ///< of a storage: the top of the tree of what it holds
  uint32_t sector = 0;  ///< where its bytes begin
  uint64_t size = 0;    ///< of a stream, in bytes

  static constexpr uint32_t kNone = 0xFFFFFFFF;
};

/// Holds the tables and looks at `file`, which must live as long, for everything else.
class CkxCompoundFile {
 public:
  /// Nothing when it is no compound file, or its header or directory is broken.
  static std::optional<CkxCompoundFile> Open(const IkxByteSource& file);

  SkxCompoundEntry Root() const { return *Entry(0); }

  /// What `storage` holds under that name, without regard to case; nothing when there is no such entry.
  std::optional<SkxCompoundEntry> Find(const SkxCompoundEntry& storage, CkxTextView name) const;

  /// All that `storage` holds, in the order of the tree; nothing when the tree is broken.
  std::optional<std::vector<SkxCompoundEntry>> Children(const SkxCompoundEntry& storage) const;

  /// All bytes of a stream; nothing when it has more than `limit`, or its chain breaks off.
  std::optional<std::vector<unsigned char>> Read(const SkxCompoundEntry& stream, uint64_t limit) const;

  /// The same, however long it is, piece by piece and never held whole. False when `take` was for a piece, and when the
  /// chain breaks off.
  using Taker = std::function<bool(std::span<const unsigned char> piece)>;
  bool ReadEach(const SkxCompoundEntry& stream, const Taker& take) const;

  /// Of all storages together, those that nothing leads to among them.
  size_t EntryCount() const;

 private:
  explicit CkxCompoundFile(const IkxByteSource& file) : _file(&file) {}
  bool ReadHeader();
  bool ReadTableSectors(std::span<const unsigned char> header);
  bool ReadDirectory(uint32_t first);
  std::optional<SkxCompoundEntry> Entry(uint32_t number) const;

  uint64_t SectorSize() const { return uint64_t{1} << _sectorShift; }
  uint64_t Offset(uint32_t sector) const { return (uint64_t{sector} + 1) << _sectorShift; }
  std::optional<uint32_t> Next(uint32_t sector) const;
  std::optional<std::vector<uint32_t>> Chain(uint32_t first, uint64_t bytes) const;
  std::optional<std::vector<unsigned char>> ReadUntilEnd(uint32_t first, uint64_t limit) const;
  bool ReadSmall(uint32_t first, std::span<unsigned char> bytes) const;
  bool HoldSmallStreams() const;

  /// Where small streams lie: the table of their pieces, and the sectors that these are in.
  struct SkxSmallStreams {
    std::vector<unsigned char> table;
    std::vector<uint32_t> sectors;
    uint64_t pieces = 0;
  };

  const IkxByteSource* _file;
  unsigned _sectorShift = 9;
  uint32_t _smallTable = 0;               // where the allocation table of small streams begins
  std::vector<uint32_t> _tableSectors;    // of the allocation table
  std::vector<unsigned char> _entries;    // of the directory
  mutable uint32_t _heldTableSector = 0;  // the part of the allocation table that was asked for last
  mutable std::vector<unsigned char> _held;
  mutable std::optional<SkxSmallStreams> _small;  // read for the first one, and held for those that follow
};
