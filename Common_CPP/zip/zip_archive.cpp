#include "Common_CPP/zip/zip_archive.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>

#include "Common_CPP/util/byte_cursor.h"

namespace {

using ZipBytes = std::span<const unsigned char>;

constexpr uint32_t kFileMark = 0x04034B50;
constexpr uint32_t kDirectoryMark = 0x02014B50;
constexpr uint32_t kZipEndMark = 0x06054B50;
constexpr uint32_t kLargeEndMark = 0x06064B50;
constexpr uint32_t kLargeEndPlaceMark = 0x07064B50;
constexpr size_t kFileHeaderBytes = 30;
constexpr size_t kDirectoryHeaderBytes = 46;
constexpr size_t kEndBytes = 22;
constexpr size_t kLargeEndBytes = 56;
constexpr size_t kLargeEndPlaceBytes = 20;
constexpr uint64_t kMaxArchiveDirectoryBytes = 16 * 1024 * 1024;
constexpr uint32_t kInLargeField = 0xFFFFFFFF;

char FoldedLetter(char unit) { return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + ('a' - 'A')) : unit; }

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char unitOfA, char unitOfB) { return FoldedLetter(unitOfA) == FoldedLetter(unitOfB); });
}

std::string_view NameIn(ZipBytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// Where the end begins: the last mark whose comment reaches the end of the file.
std::optional<size_t> EndIn(ZipBytes tail) {
  if (tail.size() < kEndBytes) return std::nullopt;
  for (size_t at = tail.size() - kEndBytes + 1; at-- > 0;) {
    const bool isEnd = KxBytes_U32(tail, at) == kZipEndMark;
    if (isEnd && KxBytes_U16(tail, at + 20) == tail.size() - at - kEndBytes) return at;
  }
  return std::nullopt;
}

struct SkxDirectoryPlace {
  uint64_t at = 0;
  uint64_t size = 0;
};

/// What stands in larger fields; `end`: where the end of the archive begins.
std::optional<SkxDirectoryPlace> LargePlace(const IkxByteSource& file, uint64_t end) {
  std::array<unsigned char, kLargeEndPlaceBytes> place;
  if (end < place.size() || !file.ReadExactly(end - place.size(), place)) return std::nullopt;
  if (KxBytes_U32(place, 0) != kLargeEndPlaceMark) return std::nullopt;
  std::array<unsigned char, kLargeEndBytes> large;
  if (!file.ReadExactly(KxBytes_Load<uint64_t>(place.data() + 8), large)) return std::nullopt;
  if (KxBytes_U32(large, 0) != kLargeEndMark) return std::nullopt;
  return SkxDirectoryPlace{KxBytes_Load<uint64_t>(large.data() + 48), KxBytes_Load<uint64_t>(large.data() + 40)};
}

/// The numbers of an entry that did not fit into their fields stand behind its name, in the order of these.
bool TakeLargeNumbers(ZipBytes extra, std::span<uint64_t* const> numbers) {
  constexpr uint16_t kLargeNumbers = 1;
  for (size_t at = 0; at + 4 <= extra.size();) {
    const size_t size = KxBytes_U16(extra, at + 2);
    if (size > extra.size() - at - 4) return false;
    if (KxBytes_U16(extra, at) == kLargeNumbers) {
      size_t taken = 0;
      for (uint64_t* const number : numbers) {
        if (*number != kInLargeField) continue;
        if (size - taken < sizeof(uint64_t)) return false;
        *number = KxBytes_Load<uint64_t>(extra.data() + at + 4 + taken);
        taken += sizeof(uint64_t);
      }
      return true;
    }
    at += 4 + size;
  }
  return true;  // all ones may be the number itself
}

/// Nothing unless it gives exactly `size` bytes.
std::optional<std::vector<unsigned char>> Inflated(std::vector<unsigned char> packed, size_t size) {
  constexpr int kWithoutHeader = -MAX_WBITS;
  std::vector<unsigned char> bytes(size + 1);  // room for a byte too many, and never empty
  z_stream stream = {};
  if (inflateInit2(&stream, kWithoutHeader) != Z_OK) throw std::bad_alloc();
  stream.next_in = packed.data();
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = bytes.data();
  stream.avail_out = static_cast<uInt>(bytes.size());
  const int result = inflate(&stream, Z_FINISH);
  const bool isWhole = result == Z_STREAM_END && stream.total_out == size && stream.avail_in == 0;
  inflateEnd(&stream);
  if (result == Z_MEM_ERROR) throw std::bad_alloc();
  bytes.resize(size);
  return isWhole ? std::optional(std::move(bytes)) : std::nullopt;
}

}  // namespace

struct CkxZipArchive::SkxEntry {
  uint16_t flags = 0;
  uint16_t method = 0;
  uint32_t checksum = 0;
  uint64_t packedSize = 0;
  uint64_t size = 0;
  uint64_t at = 0;
  std::string_view name;  // of the directory
};

std::optional<CkxZipArchive> CkxZipArchive::Open(const IkxByteSource& file, uint64_t size) {
  constexpr uint64_t kMaxCommentBytes = 0xFFFF;
  std::vector<unsigned char> tail(static_cast<size_t>(std::min(size, kEndBytes + kMaxCommentBytes)));
  if (!file.ReadExactly(size - tail.size(), tail)) return std::nullopt;
  const std::optional<size_t> end = EndIn(tail);
  if (!end) return std::nullopt;
  const uint64_t endAt = size - tail.size() + *end;
  SkxDirectoryPlace place = {KxBytes_U32(tail, *end + 16), KxBytes_U32(tail, *end + 12)};
  if (place.at == kInLargeField || place.size == kInLargeField) {
    const std::optional<SkxDirectoryPlace> large = LargePlace(file, endAt);
    if (!large) return std::nullopt;
    place = *large;
  }
  if (place.size > kMaxArchiveDirectoryBytes || place.size > endAt || place.at > endAt - place.size)
    return std::nullopt;

  CkxZipArchive archive(file);
  archive._directoryAt = place.at;
  archive._directory.resize(static_cast<size_t>(place.size));
  if (!file.ReadExactly(place.at, archive._directory)) return std::nullopt;
  return archive;
}

std::optional<CkxZipArchive::SkxEntry> CkxZipArchive::Find(std::string_view name) const {
  std::optional<SkxEntry> found;
  for (ZipBytes left = _directory; !left.empty();) {
    if (left.size() < kDirectoryHeaderBytes || KxBytes_U32(left, 0) != kDirectoryMark) return std::nullopt;
    const size_t nameBytes = KxBytes_U16(left, 28);
    const size_t extraBytes = KxBytes_U16(left, 30);
    const size_t bytes = kDirectoryHeaderBytes + nameBytes + extraBytes + KxBytes_U16(left, 32);
    if (bytes > left.size()) return std::nullopt;
    SkxEntry entry;
    entry.name = NameIn(left.subspan(kDirectoryHeaderBytes, nameBytes));
    if (IsSameName(entry.name, name)) {
      if (found) return std::nullopt;  // each reader would take another one
      entry.flags = KxBytes_U16(left, 8);
      entry.method = KxBytes_U16(left, 10);
      entry.checksum = KxBytes_U32(left, 16);
      entry.packedSize = KxBytes_U32(left, 20);
      entry.size = KxBytes_U32(left, 24);
      entry.at = KxBytes_U32(left, 42);
      uint64_t* const numbers[] = {&entry.size, &entry.packedSize, &entry.at};
      if (!TakeLargeNumbers(left.subspan(kDirectoryHeaderBytes + nameBytes, extraBytes), numbers)) return std::nullopt;
      found = entry;
    }
    left = left.subspan(bytes);
  }
  return found;
}

/// As they lie in the file, in front of the directory and behind a header with the same name.
std::optional<std::vector<unsigned char>> CkxZipArchive::Packed(const SkxEntry& entry, size_t limit) const {
  std::array<unsigned char, kFileHeaderBytes> header;
  if (entry.packedSize > limit || entry.at > _directoryAt || !_file->ReadExactly(entry.at, header)) return std::nullopt;
  if (KxBytes_U32(header, 0) != kFileMark || KxBytes_U16(header, 26) != entry.name.size()) return std::nullopt;
  std::vector<unsigned char> name(entry.name.size());
  if (!_file->ReadExactly(entry.at + header.size(), name) || NameIn(name) != entry.name) return std::nullopt;
  const uint64_t begin = entry.at + header.size() + name.size() + KxBytes_U16(header, 28);
  if (begin > _directoryAt || entry.packedSize > _directoryAt - begin) return std::nullopt;
  std::vector<unsigned char> packed(static_cast<size_t>(entry.packedSize));
  return _file->ReadExactly(begin, packed) ? std::optional(std::move(packed)) : std::nullopt;
}

std::optional<std::vector<unsigned char>> CkxZipArchive::Read(std::string_view name, size_t limit) const {
  constexpr uint16_t kIsEncrypted = 1, kStored = 0, kDeflated = 8;
  const std::optional<SkxEntry> entry = Find(name);
  if (!entry || (entry->flags & kIsEncrypted) != 0 || entry->size > limit) return std::nullopt;
  std::optional<std::vector<unsigned char>> bytes = Packed(*entry, limit);
  if (bytes && entry->method == kDeflated) bytes = Inflated(*std::move(bytes), static_cast<size_t>(entry->size));
  const bool isKnown = entry->method == kDeflated || entry->method == kStored;
  if (!bytes || !isKnown || bytes->size() != entry->size) return std::nullopt;
  const uLong checksum = crc32(0, bytes->data(), static_cast<uInt>(bytes->size()));
  return checksum == entry->checksum ? bytes : std::nullopt;
}
