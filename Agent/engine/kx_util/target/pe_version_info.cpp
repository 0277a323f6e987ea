#include "Agent/engine/kx_util/target/pe_version_info.h"

#include <algorithm>
#include <vector>

#include "Common_CPP/pe/pe_resources.h"
#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint32_t kMaxVersionBytes = 256 * 1024;

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
    const size_t length = KxBytes_U16(_bytes, position);
    if (length < kHeaderBytes || length > end - position) return false;
    node.end = position + length;

    const size_t key = position + kHeaderBytes;
    node.key = CkxTextView::FromBytes(_bytes.data() + key, node.end - key);
    const size_t value = std::min(Padded(key + (node.key.Size() + 1) * sizeof(WCHAR)), node.end);
    const bool isText =
        KxBytes_U16(_bytes, position + 4) == 1;  // the length of a text counts units, where it can be believed
    const size_t valueBytes = size_t{KxBytes_U16(_bytes, position + 2)} * (isText ? sizeof(WCHAR) : 1);
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
      name += KXW("0123456789ABCDEF")[KxBytes_U16(translation, half) >> (shift -= 4) & 0xF];
  }
  return name;
}

void ReadFixedBlock(std::span<const unsigned char> block, SkxPeVersionInfo& info) {
  constexpr size_t kFixedBytes = 52;
  if (block.size() < kFixedBytes || KxBytes_U32(block, 0) != 0xFEEF04BD) return;
  info.fileVersion = SkxVersion(KxBytes_U32(block, 8), KxBytes_U32(block, 12));
  info.productVersion = SkxVersion(KxBytes_U32(block, 16), KxBytes_U32(block, 20));
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
  const std::optional<CkxPeImage> image = CkxPeImage::Read(file);
  if (!image) return std::nullopt;
  const auto resource = KxPe_ReadResource(file, *image, {SkxPeResourceId::kVersion, std::nullopt}, kMaxVersionBytes);
  return resource ? ParseVersionResource(*resource) : std::nullopt;
}
