#include "Common_CPP/ole/compound_file.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kHeaderBytes = 512;
constexpr size_t kEntryBytes = 128;
constexpr unsigned kSmallShift = 6;  // pieces of small streams have 64 bytes
constexpr uint64_t kSmallBytes = 1 << kSmallShift;
constexpr uint64_t kSmallStreamsEnd = 4096;  // from that size on a stream has sectors of its own
constexpr uint32_t kChainEnds = 0xFFFFFFFE;
constexpr uint32_t kLastSector = 0xFFFFFFFA;  // numbers beyond it have other meanings

constexpr size_t kMaxTableSectors = 32 * 1024;            // for 2 GiB in the smaller sectors
constexpr uint64_t kMaxDirectoryBytes = 4 * 1024 * 1024;  // 32768 entries
constexpr uint64_t kMaxSmallTableBytes = 1024 * 1024;     // for 16 MiB of small streams
constexpr uint64_t kMaxPieceBytes = 256 * 1024;           // of a stream that is read piece by piece

bool IsSector(uint32_t number) { return number <= kLastSector; }

/// The order of names in a storage's tree: shorter ones first, then by their folded units.
int Compare(CkxTextView a, CkxTextView b) {
  if (a.Size() != b.Size()) return a.Size() < b.Size() ? -1 : 1;
  for (size_t at = 0; at < a.Size(); ++at) {
    const WCHAR unitOfA = KxText_Fold(a[at]);
    const WCHAR unitOfB = KxText_Fold(b[at]);
    if (unitOfA != unitOfB) return unitOfA < unitOfB ? -1 : 1;
  }
  return 0;
}

}  // namespace

std::optional<CkxCompoundFile> CkxCompoundFile::Open(const IkxByteSource& file) {
  CkxCompoundFile compound(file);
  if (!compound.ReadHeader()) return std::nullopt;
  return compound;
}

bool CkxCompoundFile::ReadHeader() {
  constexpr std::array<unsigned char, 8> kSignature = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
  std::array<unsigned char, kHeaderBytes> header;
  if (!_file->ReadExactly(0, header) || !std::equal(kSignature.begin(), kSignature.end(), header.begin())) return false;
  const unsigned version = KxBytes_U16(header, 26);
  _sectorShift = KxBytes_U16(header, 30);
  if (!(version == 3 && _sectorShift == 9) && !(version == 4 && _sectorShift == 12)) return false;
  constexpr unsigned kLittleEndian = 0xFFFE;
  if (KxBytes_U16(header, 28) != kLittleEndian || KxBytes_U16(header, 32) != kSmallShift ||
      KxBytes_U32(header, 56) != kSmallStreamsEnd) {
    return false;
  }
  _smallTable = KxBytes_U32(header, 60);
  return ReadTableSectors(header) && ReadDirectory(KxBytes_U32(header, 48));
}

bool CkxCompoundFile::ReadTableSectors(std::span<const unsigned char> header) {
  constexpr size_t kInHeader = 109;
  const size_t count = KxBytes_U32(header, 44);
  if (count > kMaxTableSectors) return false;
  for (size_t index = 0; index < std::min(count, kInHeader); ++index) {
    _tableSectors.push_back(KxBytes_U32(header, 76 + index * sizeof(uint32_t)));
  }
  // The last number of a sector of numbers is that of the next such sector. Each adds some, so that they end.
  std::vector<unsigned char> numbers(SectorSize());
  const size_t last = numbers.size() - sizeof(uint32_t);
  for (uint32_t sector = KxBytes_U32(header, 68); _tableSectors.size() < count; sector = KxBytes_U32(numbers, last)) {
    if (!IsSector(sector) || !_file->ReadExactly(Offset(sector), numbers)) return false;
    for (size_t at = 0; at < last && _tableSectors.size() < count; at += sizeof(uint32_t)) {
      _tableSectors.push_back(KxBytes_U32(numbers, at));
    }
  }
  return true;
}

bool CkxCompoundFile::ReadDirectory(uint32_t first) {
  std::optional<std::vector<unsigned char>> entries = ReadUntilEnd(first, kMaxDirectoryBytes);
  if (!entries) return false;
  _entries = std::move(*entries);
  const std::optional<SkxCompoundEntry> root = Entry(0);
  return root && root->kind == EkxCompoundEntry::Root;
}

std::optional<SkxCompoundEntry> CkxCompoundFile::Entry(uint32_t number) const {
  constexpr size_t kNameBytes = 64;
  if (number >= EntryCount()) return std::nullopt;
  const auto bytes = std::span(_entries).subspan(number * kEntryBytes, kEntryBytes);
  SkxCompoundEntry entry;
  const size_t nameBytes =
      std::clamp<size_t>(KxBytes_U16(bytes, kNameBytes), sizeof(WCHAR), kNameBytes) - sizeof(WCHAR);
  entry.name = CkxTextView::FromBytes(bytes.data(), nameBytes).ToString();
  entry.kind = static_cast<EkxCompoundEntry>(bytes[66]);
  entry.left = KxBytes_U32(bytes, 68);
  entry.right = KxBytes_U32(bytes, 72);
  entry.child = KxBytes_U32(bytes, 76);
  entry.classId = KxBytes_Load<GUID>(bytes.data() + 80);
  std::copy_n(bytes.begin() + 96, entry.state.size(), entry.state.begin());
  std::copy_n(bytes.begin() + 100, entry.times.size(), entry.times.begin());
  entry.sector = KxBytes_U32(bytes, 116);
  entry.size = KxBytes_U32(bytes, 120);
  const bool hasLongSizes = _sectorShift != 9;  // where they are short, old writers left anything in the upper half
  if (hasLongSizes) entry.size |= uint64_t{KxBytes_U32(bytes, 124)} << 32;
  return entry;
}

std::optional<SkxCompoundEntry> CkxCompoundFile::Find(const SkxCompoundEntry& storage, CkxTextView name) const {
  uint32_t number = storage.child;
  for (size_t steps = EntryCount(); steps != 0; --steps) {  // no way down passes an entry twice
    std::optional<SkxCompoundEntry> entry = Entry(number);
    if (!entry) return std::nullopt;
    const int order = Compare(name, entry->name);
    if (order == 0) return entry;
    number = order < 0 ? entry->left : entry->right;
  }
  return std::nullopt;
}

std::optional<std::vector<SkxCompoundEntry>> CkxCompoundFile::Children(const SkxCompoundEntry& storage) const {
  std::vector<SkxCompoundEntry> children, above;  // above: entries whose left side is being walked
  std::vector<bool> seen(EntryCount());
  for (uint32_t number = storage.child; number != SkxCompoundEntry::kNone || !above.empty();) {
    if (number != SkxCompoundEntry::kNone) {
      std::optional<SkxCompoundEntry> entry = Entry(number);
      if (!entry || seen[number]) return std::nullopt;
      seen[number] = true;
      number = entry->left;
      above.push_back(std::move(*entry));
    } else {
      number = above.back().right;
      children.push_back(std::move(above.back()));
      above.pop_back();
    }
  }
  return children;
}

/// The next sector of its chain, `kChainEnds` behind the last; nothing when the table does not say.
std::optional<uint32_t> CkxCompoundFile::Next(uint32_t sector) const {
  const unsigned numbersShift = _sectorShift - 2;  // numbers in a sector
  const size_t index = sector >> numbersShift;
  if (index >= _tableSectors.size() || !IsSector(_tableSectors[index])) return std::nullopt;
  if (_held.empty() || _heldTableSector != _tableSectors[index]) {
    _held.resize(SectorSize());
    if (!_file->ReadExactly(Offset(_tableSectors[index]), _held)) {
      _held.clear();
      return std::nullopt;
    }
    _heldTableSector = _tableSectors[index];
  }
  return KxBytes_U32(_held, (sector & ((size_t{1} << numbersShift) - 1)) * sizeof(uint32_t));
}

/// The sectors of the chain that the first `bytes` are in.
std::optional<std::vector<uint32_t>> CkxCompoundFile::Chain(uint32_t first, uint64_t bytes) const {
  const uint64_t count = (bytes + SectorSize() - 1) >> _sectorShift;
  std::vector<uint32_t> sectors;
  for (uint32_t sector = first; sectors.size() < count;) {
    if (!IsSector(sector)) return std::nullopt;
    sectors.push_back(sector);
    if (sectors.size() == count) break;
    const std::optional<uint32_t> next = Next(sector);
    if (!next) return std::nullopt;
    sector = *next;
  }
  return sectors;
}

/// Chains of tables have no size: they end where they say so, before `limit`.
std::optional<std::vector<unsigned char>> CkxCompoundFile::ReadUntilEnd(uint32_t first, uint64_t limit) const {
  std::vector<unsigned char> bytes;
  for (std::optional<uint32_t> sector = first; sector != kChainEnds; sector = Next(*sector)) {
    if (!sector || !IsSector(*sector) || bytes.size() >= limit) return std::nullopt;
    bytes.resize(bytes.size() + SectorSize());
    if (!_file->ReadExactly(Offset(*sector), std::span(bytes).last(SectorSize()))) return std::nullopt;
  }
  return bytes;
}

std::optional<std::vector<unsigned char>> CkxCompoundFile::Read(const SkxCompoundEntry& stream, uint64_t limit) const {
  std::vector<unsigned char> bytes;  // grows with what there is, not with what was promised
  const bool isRead = stream.size <= limit && ReadEach(stream, [&](std::span<const unsigned char> piece) {
                        bytes.insert(bytes.end(), piece.begin(), piece.end());
                        return true;
                      });
  return isRead ? std::optional(std::move(bytes)) : std::nullopt;
}

bool CkxCompoundFile::ReadEach(const SkxCompoundEntry& stream, const Taker& take) const {
  if (stream.kind != EkxCompoundEntry::Stream) return false;
  if (stream.size < kSmallStreamsEnd) {
    std::vector<unsigned char> bytes(static_cast<size_t>(stream.size));
    return ReadSmall(stream.sector, bytes) && take(bytes);
  }
  std::vector<unsigned char> piece;
  uint32_t sector = stream.sector;
  for (uint64_t left = stream.size; left != 0; left -= piece.size()) {
    const uint32_t first = sector;
    uint64_t bytes = 0;
    do {  // sectors that follow each other are one read
      if (!IsSector(sector)) return false;
      bytes += SectorSize();
      if (bytes >= left) break;
      const std::optional<uint32_t> next = Next(sector);
      if (!next) return false;
      sector = *next;
    } while (sector == first + (bytes >> _sectorShift) && bytes < kMaxPieceBytes);
    piece.resize(static_cast<size_t>(std::min(bytes, left)));
    if (!_file->ReadExactly(Offset(first), piece) || !take(piece)) return false;
  }
  return true;
}

size_t CkxCompoundFile::EntryCount() const { return _entries.size() / kEntryBytes; }

bool CkxCompoundFile::HoldSmallStreams() const {
  if (_small) return true;
  const SkxCompoundEntry root = Root();
  std::optional<std::vector<unsigned char>> table = ReadUntilEnd(_smallTable, kMaxSmallTableBytes);
  const uint64_t tableHolds = table ? table->size() / sizeof(uint32_t) : 0;
  const uint64_t pieces = std::min(tableHolds, root.size / kSmallBytes + (root.size % kSmallBytes != 0 ? 1 : 0));
  std::optional<std::vector<uint32_t>> sectors = Chain(root.sector, pieces * kSmallBytes);
  if (!table || !sectors) return false;
  _small = {std::move(*table), std::move(*sectors), pieces};
  return true;
}

bool CkxCompoundFile::ReadSmall(uint32_t first, std::span<unsigned char> bytes) const {
  if (bytes.empty()) return true;
  if (!HoldSmallStreams()) return false;
  uint32_t piece = first;
  for (size_t done = 0; done < bytes.size(); piece = KxBytes_U32(_small->table, piece * sizeof(uint32_t))) {
    if (piece >= _small->pieces) return false;
    const uint64_t position = uint64_t{piece} * kSmallBytes;  // in the root's stream
    const uint64_t offset = Offset(_small->sectors[position >> _sectorShift]) + (position & (SectorSize() - 1));
    const std::span<unsigned char> part = bytes.subspan(done, std::min<size_t>(kSmallBytes, bytes.size() - done));
    if (!_file->ReadExactly(offset, part)) return false;
    done += part.size();
  }
  return true;
}
