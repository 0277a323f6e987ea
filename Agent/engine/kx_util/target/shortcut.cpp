#include "Agent/engine/kx_util/target/shortcut.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/byte_cursor.h"
#include "Common_CPP/util/code_page.h"
#include "Common_CPP/util/text_view.h"

namespace {

using BytesView = std::span<const unsigned char>;

enum : uint32_t {
  kHasItemList = 1u << 0,
  kHasLinkInfo = 1u << 1,
  kHasDescription = 1u << 2,
  kHasRelativePath = 1u << 3,
  kHasStartFolder = 1u << 4,
  kHasArguments = 1u << 5,
  kHasIcon = 1u << 6,
  kIsWide = 1u << 7,
  kIgnoresLinkInfo = 1u << 8,
  kHasTypedPath = 1u << 9,
  kPrefersTypedPath = 1u << 25,
};

template <class Number>
std::optional<Number> At(BytesView bytes, size_t offset) {
  if (offset > bytes.size() || bytes.size() - offset < sizeof(Number)) return std::nullopt;
  return KxBytes_Load<Number>(bytes.data() + offset);
}

BytesView From(BytesView bytes, size_t offset) { return bytes.subspan(std::min(offset, bytes.size())); }

/// Up to the NUL or the end.
KxWString WideText(BytesView bytes) { return CkxTextView::FromBytes(bytes.data(), bytes.size()).ToString(); }

KxWString NarrowText(BytesView bytes) {
  const BytesView text = bytes.first(static_cast<size_t>(std::find(bytes.begin(), bytes.end(), 0) - bytes.begin()));
  return KxText_FromCodePage(text, kKxCodePageLatin).value_or(KxWString());
}

/// Takes parts from the front of the shortcut.
class Parts {
 public:
  explicit Parts(BytesView bytes) : _left(bytes) {}

  BytesView Left() const { return _left; }

  std::optional<BytesView> Take(size_t size) {
    if (size > _left.size()) return std::nullopt;
    const BytesView part = _left.first(size);
    _left = _left.subspan(size);
    return part;
  }

  /// After a count of 16 bits that does not count itself; `limit` units where it says more.
  std::optional<BytesView> TakeCounted(size_t unit, size_t limit = UINT16_MAX) {
    const std::optional<uint16_t> count = At<uint16_t>(_left, 0);
    return count && Take(sizeof(*count)) ? Take(std::min<size_t>(*count, limit) * unit) : std::nullopt;
  }

  /// With a size of 32 bits, that counts itself, in front.
  std::optional<BytesView> TakeSized() {
    const std::optional<uint32_t> size = At<uint32_t>(_left, 0);
    return size && *size >= sizeof(*size) ? Take(*size) : std::nullopt;
  }

 private:
  BytesView _left;
};

void AppendToPath(KxWString& path, const KxWString& name) {
  if (!path.empty() && path.back() != KXW('\\') && !name.empty()) path += KXW('\\');
  path += name;
}

/// The long name of a folder or file, which stands in a block at the end of its item; the last two bytes of the item
/// say where that begins.
KxWString LongName(BytesView item) {
  constexpr uint32_t kLongNames = 0xBEEF0004;
  const std::optional<uint16_t> begin = At<uint16_t>(item, item.size() - sizeof(uint16_t));
  const BytesView block = From(item, *begin);
  const uint16_t version = At<uint16_t>(block, 2).value_or(0);
  if (At<uint32_t>(block, 4) != kLongNames || version < 3) return {};
  const size_t name = 20 + (version >= 7 ? 18u : 0u) + (version >= 9 ? 4u : 0u) + (version >= 8 ? 4u : 0u);
  return WideText(From(block, name));
}

/// The path that the items lead to; empty when one of them is no folder or file of the file system.
KxWString ItemListPath(BytesView list) {
  constexpr std::array<unsigned char, 16> kComputer = {0xE0, 0x4F, 0xD0, 0x20, 0xEA, 0x3A, 0x69, 0x10,
                                                       0xA2, 0xD8, 0x08, 0x00, 0x2B, 0x30, 0x30, 0x9D};
  constexpr size_t kKindAt = 2;
  constexpr size_t kNameAt = 14;
  KxWString path;
  size_t items = 0;
  for (Parts parts(list); const std::optional<uint16_t> size = At<uint16_t>(parts.Left(), 0); ++items) {
    if (*size == 0) return path;
    const std::optional<BytesView> item = parts.Take(*size);
    if (!item || item->size() < kNameAt + 2) return {};
    const unsigned kind = (*item)[kKindAt];
    if (items == 0) {
      if (kind != 0x1F || !std::equal(kComputer.begin(), kComputer.end(), item->begin() + 4)) return {};
    } else if (items == 1) {
      if ((kind & 0x70) != 0x20) return {};
      path = NarrowText(item->subspan(kKindAt + 1));
    } else {
      constexpr unsigned kIsWideName = 4;
      if ((kind & 0x70) != 0x30) return {};
      KxWString name = LongName(*item);
      if (name.empty())
        name = (kind & kIsWideName) != 0 ? WideText(From(*item, kNameAt)) : NarrowText(From(*item, kNameAt));
      if (name.empty()) return {};
      AppendToPath(path, name);
    }
  }
  return {};  // without an end
}

/// The text that a field of the link info, or of what is in it, says the place of; the wide one where there is one.
KxWString PlacedText(BytesView info, size_t narrowField, size_t wideField, bool hasWide) {
  if (const uint32_t wide = hasWide ? At<uint32_t>(info, wideField).value_or(0) : 0; wide != 0) {
    return WideText(From(info, wide));
  }
  const uint32_t narrow = At<uint32_t>(info, narrowField).value_or(0);
  return narrow != 0 ? NarrowText(From(info, narrow)) : KxWString();
}

KxWString LinkInfoPath(BytesView info) {
  constexpr uint32_t kIsLocal = 1, kIsRemote = 2;
  const uint32_t flags = At<uint32_t>(info, 8).value_or(0);
  const bool hasWide = At<uint32_t>(info, 4).value_or(0) >= 36;
  KxWString path;
  if ((flags & kIsLocal) != 0) {
    path = PlacedText(info, 16, 28, hasWide);
  } else if ((flags & kIsRemote) != 0) {
    const uint32_t begin = At<uint32_t>(info, 20).value_or(0);
    const BytesView share = begin != 0 ? From(info, begin) : BytesView();
    path = PlacedText(share, 8, 20, At<uint32_t>(share, 8).value_or(0) > 20);
  }
  if (!path.empty()) AppendToPath(path, PlacedText(info, 24, 32, hasWide));
  return path;
}

KxWString TypedPath(Parts parts) {
  constexpr uint32_t kTypedPath = 0xA0000001;
  constexpr size_t kNarrowBytes = 260;
  while (const std::optional<BytesView> block = parts.TakeSized()) {
    if (At<uint32_t>(*block, 4) != kTypedPath) continue;
    const BytesView texts = From(*block, 8);
    KxWString path = WideText(From(texts, kNarrowBytes));
    return path.empty() ? NarrowText(texts.first(std::min(kNarrowBytes, texts.size()))) : path;
  }
  return {};
}

bool TakeTexts(Parts& parts, uint32_t flags, SkxShortcut& shortcut) {
  constexpr size_t kMaxUnits = 260;  // of what is a path or shown
  KxWString unused;
  const struct {
    uint32_t flag;
    KxWString& text;
  } kTexts[] = {{kHasDescription, unused},
                {kHasRelativePath, shortcut.relativePath},
                {kHasStartFolder, shortcut.startFolder},
                {kHasArguments, shortcut.arguments},
                {kHasIcon, unused}};
  const bool isWide = (flags & kIsWide) != 0;
  for (const auto& [flag, text] : kTexts) {
    if ((flags & flag) == 0) continue;
    const size_t limit = flag == kHasArguments ? UINT16_MAX : kMaxUnits;
    const std::optional<BytesView> bytes = parts.TakeCounted(isWide ? sizeof(WCHAR) : 1, limit);
    if (!bytes) return false;
    text = isWide ? WideText(*bytes) : NarrowText(*bytes);
  }
  return true;
}

}  // namespace

std::optional<SkxShortcut> KxShortcut_Read(std::span<const unsigned char> bytes) {
  constexpr uint32_t kHeaderBytes = 76;
  constexpr std::array<unsigned char, 16> kClass = {0x01, 0x14, 0x02, 0x00, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
  Parts parts(bytes);
  const std::optional<BytesView> header = bytes.size() <= kKxMaxShortcutBytes ? parts.Take(kHeaderBytes) : std::nullopt;
  if (!header || At<uint32_t>(*header, 0) != kHeaderBytes) return std::nullopt;
  if (!std::equal(kClass.begin(), kClass.end(), header->begin() + 4)) return std::nullopt;
  const uint32_t flags = *At<uint32_t>(*header, 20);

  const std::optional<BytesView> items = (flags & kHasItemList) != 0 ? parts.TakeCounted(1) : BytesView();
  if (!items) return std::nullopt;
  const std::optional<BytesView> info = (flags & kHasLinkInfo) != 0 ? parts.TakeSized() : BytesView();
  SkxShortcut shortcut;
  if (!info || !TakeTexts(parts, flags, shortcut)) return std::nullopt;

  const KxWString typed = (flags & kHasTypedPath) != 0 ? TypedPath(parts) : KxWString();
  if ((flags & kPrefersTypedPath) != 0) shortcut.target = typed;
  if (shortcut.target.empty()) shortcut.target = ItemListPath(*items);
  if (shortcut.target.empty() && (flags & kIgnoresLinkInfo) == 0) shortcut.target = LinkInfoPath(*info);
  if (shortcut.target.empty()) shortcut.target = typed;
  return shortcut;
}
