#include "Common_CPP/pe/pe_resources.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"

namespace {

constexpr uint32_t kMaxResourceBytes = 16 * 1024 * 1024;  // of a section, from its resources on
constexpr size_t kMaxEntries = 4096;                      // of one directory

/// The resource directories. Their offsets count from the first of them.
class CkxPeResources {
 public:
  static constexpr uint32_t kIsDirectory = 0x80000000;

  CkxPeResources(const IkxByteSource& file, CkxPeImage::Place place)
      : _file(file), _offset(place.offset), _size(std::min(place.available, kMaxResourceBytes)) {}

  bool Read(uint32_t offset, std::span<unsigned char> bytes) const {
    return offset <= _size && bytes.size() <= _size - offset && _file.ReadExactly(_offset + offset, bytes);
  }

  /// The directory below `directory` that has the number `id`, or its first one of whatever name. The tree is walked
  /// down three steps and no more, so that a loop in it leads nowhere.
  std::optional<uint32_t> Directory(uint32_t directory, std::optional<uint32_t> id) const {
    const std::optional<uint32_t> entry = Entry(directory, id);
    if (!entry || (*entry & kIsDirectory) == 0) return std::nullopt;
    return *entry & ~kIsDirectory;
  }

  std::optional<uint32_t> FirstData(uint32_t directory) const {
    const std::optional<uint32_t> entry = Entry(directory, std::nullopt);
    return entry && (*entry & kIsDirectory) == 0 ? entry : std::nullopt;
  }

 private:
  std::optional<uint32_t> Entry(uint32_t directory, std::optional<uint32_t> id) const {
    std::array<unsigned char, 16> header;
    if (!Read(directory, header)) return std::nullopt;
    const size_t count =
        std::min<size_t>(size_t{KxBytes_U16(header, 12)} + KxBytes_U16(header, 14), id ? kMaxEntries : 1);
    std::vector<unsigned char> entries(count * 8);
    if (!Read(directory + 16, entries)) return std::nullopt;
    for (size_t at = 0; at < entries.size(); at += 8) {
      if (!id || KxBytes_U32(entries, at) == *id) return KxBytes_U32(entries, at + 4);
    }
    return std::nullopt;
  }

  const IkxByteSource& _file;
  const uint64_t _offset;
  const uint32_t _size;
};

}  // namespace

std::optional<std::vector<unsigned char>> KxPe_ReadResource(const IkxByteSource& file, const CkxPeImage& image,
                                                            const SkxPeResourceId& id, uint32_t limit) {
  const uint32_t directory = image.Directory(EkxPeDirectory::Resources).address;
  const std::optional<CkxPeImage::Place> root = directory != 0 ? image.Find(directory) : std::nullopt;
  if (!root) return std::nullopt;

  const CkxPeResources resources(file, *root);
  const std::optional<uint32_t> names = resources.Directory(0, id.type);
  const std::optional<uint32_t> languages = names ? resources.Directory(*names, id.name) : std::nullopt;
  const std::optional<uint32_t> data = languages ? resources.FirstData(*languages) : std::nullopt;
  std::array<unsigned char, 16> entry;
  if (!data || !resources.Read(*data, entry)) return std::nullopt;

  const uint32_t size = KxBytes_U32(entry, 4);
  const std::optional<CkxPeImage::Place> place = image.Find(KxBytes_U32(entry, 0));
  if (!place || size > std::min(place->available, limit)) return std::nullopt;
  std::vector<unsigned char> bytes(size);
  if (!file.ReadExactly(place->offset, bytes)) return std::nullopt;
  return bytes;
}
