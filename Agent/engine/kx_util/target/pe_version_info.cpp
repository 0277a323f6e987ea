#include "Agent/engine/kx_util/target/pe_version_info.h"

#include <algorithm>
#include <array>
#include <vector>

#include "Common_CPP/pe/pe_image.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint32_t kMaxResourceBytes = 16 * 1024 * 1024;  // of a section, from its resources on
constexpr uint32_t kMaxVersionBytes = 256 * 1024;
constexpr size_t kMaxEntries = 4096;  // of one directory

uint16_t U16(std::span<const unsigned char> bytes, size_t at) { return KxBytes_Load<uint16_t>(bytes.data() + at); }
uint32_t U32(std::span<const unsigned char> bytes, size_t at) { return KxBytes_Load<uint32_t>(bytes.data() + at); }

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
    const size_t count = std::min<size_t>(size_t{U16(header, 12)} + U16(header, 14), id ? kMaxEntries : 1);
    std::vector<unsigned char> entries(count * 8);
    if (!Read(directory + 16, entries)) return std::nullopt;
    for (size_t at = 0; at < entries.size(); at += 8) {
      if (!id || U32(entries, at) == *id) return U32(entries, at + 4);
    }
    return std::nullopt;
  }

  const IkxByteSource& _file;
  const uint64_t _offset;
  const uint32_t _size;
};

std::optional<std::vector<unsigned char>> ReadVersionResource(const IkxByteSource& file) {
  constexpr uint32_t kVersionType = 16;
  const std::optional<CkxPeImage> image = CkxPeImage::Read(file);
  const uint32_t directory = image ? image->Directory(EkxPeDirectory::Resources).address : 0;
  if (directory == 0) return std::nullopt;
  const std::optional<CkxPeImage::Place> root = image->Find(directory);
  if (!root) return std::nullopt;

  const CkxPeResources resources(file, *root);
  const std::optional<uint32_t> names = resources.Directory(0, kVersionType);
  const std::optional<uint32_t> languages = names ? resources.Directory(*names, std::nullopt) : std::nullopt;
  const std::optional<uint32_t> data = languages ? resources.FirstData(*languages) : std::nullopt;
  std::array<unsigned char, 16> entry;  // address, size, code page, reserved
  if (!data || !resources.Read(*data, entry)) return std::nullopt;

  const uint32_t size = U32(entry, 4);
  const std::optional<CkxPeImage::Place> place = image->Find(U32(entry, 0));
  if (!place || size > std::min(place->available, kMaxVersionBytes)) return std::nullopt;
  std::vector<unsigned char> bytes(size);
  if (!file.ReadExactly(place->offset, bytes)) return std::nullopt;
  return bytes;
}

/// A node of the version tree; positions count from the tree's first byte, and so does the padding.
struct SkxNode {
  CkxTextView key;
  std::span<const unsigned char> value;
  size_t children = 0;
  size_t end = 0;
};

size_t Padded(size_t position) { return (position + 3) & ~size_t{3}; }

class CkxVersionTree {
 public:
  explicit CkxVersionTree(std::span<const unsigned char> bytes) : _bytes(bytes) {}

  /// The node at `position`, which moves on to the next one; false when there is none before `end`, or it does not fit.
  bool Next(size_t& position, size_t end, SkxNode& node) const {
    constexpr size_t kHeaderBytes = 6;
    if (position >= end || end - position < kHeaderBytes) return false;
    const size_t length = U16(_bytes, position);
    if (length < kHeaderBytes || length > end - position) return false;
    node.end = position + length;

    const size_t key = position + kHeaderBytes;
    node.key = CkxTextView::FromBytes(_bytes.data() + key, node.end - key);
    const size_t value = std::min(Padded(key + (node.key.Size() + 1) * sizeof(WCHAR)), node.end);
    const bool isText = U16(_bytes, position + 4) == 1;  // the length of a text counts units, where it can be believed
    const size_t valueBytes = size_t{U16(_bytes, position + 2)} * (isText ? sizeof(WCHAR) : 1);
    node.value = _bytes.subspan(value, std::min(valueBytes, node.end - value));
    node.children = std::min(Padded(value + node.value.size()), node.end);
    position = Padded(node.end);
    return true;
  }

  template <class Visit>
  void EachChild(const SkxNode& parent, Visit visit) const {
    SkxNode child;
    for (size_t position = parent.children; Next(position, parent.end, child);) visit(child);
  }

 private:
  const std::span<const unsigned char> _bytes;
};

KxWString Folded(CkxTextView text) {
  KxWString folded = text.ToString();
  std::transform(folded.begin(), folded.end(), folded.begin(), KxText_Fold);
  return folded;
}

/// "040904B0" of the first pair of language and code page.
KxWString TableName(std::span<const unsigned char> translation) {
  KxWString name;
  for (const size_t half : {size_t{0}, size_t{2}}) {
    for (unsigned shift = 16; shift != 0;)
      name += KXW("0123456789ABCDEF")[U16(translation, half) >> (shift -= 4) & 0xF];
  }
  return name;
}

void ReadFixedBlock(std::span<const unsigned char> block, SkxPeVersionInfo& info) {
  constexpr size_t kFixedBytes = 52;
  if (block.size() < kFixedBytes || U32(block, 0) != 0xFEEF04BD) return;
  info.fileVersion = SkxVersion(U32(block, 8), U32(block, 12));
  info.productVersion = SkxVersion(U32(block, 16), U32(block, 20));
}

std::optional<SkxPeVersionInfo> ParseVersionResource(std::span<const unsigned char> bytes) {
  const CkxVersionTree tree(bytes);
  SkxNode root;
  size_t start = 0;
  if (!tree.Next(start, bytes.size(), root) || !KxText_Equals(root.key, KXW("VS_VERSION_INFO"), true))
    return std::nullopt;
  SkxPeVersionInfo info;
  ReadFixedBlock(root.value, info);

  std::vector<SkxNode> tables;
  KxWString translated;
  tree.EachChild(root, [&](const SkxNode& child) {
    if (KxText_Equals(child.key, KXW("StringFileInfo"), true)) {
      tree.EachChild(child, [&](const SkxNode& table) { tables.push_back(table); });
    } else if (KxText_Equals(child.key, KXW("VarFileInfo"), true)) {
      tree.EachChild(child, [&](const SkxNode& var) {
        const bool isTranslation = KxText_Equals(var.key, KXW("Translation"), true) && var.value.size() >= 4;
        if (isTranslation && translated.empty()) translated = TableName(var.value);
      });
    }
  });
  if (tables.empty()) return info;

  const auto named = std::find_if(tables.begin(), tables.end(),
                                  [&](const SkxNode& table) { return KxText_Equals(table.key, translated, false); });
  tree.EachChild(named != tables.end() ? *named : tables.front(), [&](const SkxNode& text) {
    const CkxTextView value = CkxTextView::FromBytes(text.value.data(), text.value.size());
    info.fields.emplace(Folded(text.key), value.ToString());
  });
  return info;
}

}  // namespace

const KxWString* SkxPeVersionInfo::Field(CkxTextView name) const {
  const auto field = fields.find(Folded(name));
  return field != fields.end() ? &field->second : nullptr;
}

std::optional<SkxPeVersionInfo> KxPe_ReadVersionInfo(const IkxByteSource& file) {
  const std::optional<std::vector<unsigned char>> resource = ReadVersionResource(file);
  return resource ? ParseVersionResource(*resource) : std::nullopt;
}
