#include "Agent/engine/kx_util/target/execution_level.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "Common_CPP/pe/pe_resources.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint32_t kMaxManifestBytes = 256 * 1024;
constexpr size_t kMaxDepth = 64;
constexpr std::string_view kSpaces = " \t\r\n";

constexpr std::string_view kWay[] = {"assembly", "trustInfo", "security", "requestedPrivileges",
                                     "requestedExecutionLevel"};

/// Manifests are UTF-8, or UTF-16 with a mark that says so.
std::optional<std::string> Utf8Of(std::span<const unsigned char> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (text.starts_with("\xFF\xFE")) {
    if (bytes.size() % sizeof(WCHAR) != 0) return std::nullopt;
    KxWString wide(bytes.size() / sizeof(WCHAR) - 1, WCHAR{});
    std::copy_n(bytes.begin() + 2, wide.size() * sizeof(WCHAR), reinterpret_cast<unsigned char*>(wide.data()));
    return KxText_ToUtf8(wide);
  }
  std::string_view document = text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
  document = document.substr(0, document.find_last_not_of('\0') + 1);  // some tools pad it
  return document.find('\0') == std::string_view::npos ? std::optional(std::string(document)) : std::nullopt;
}

/// Without the prefix that stands for a namespace.
std::string_view LocalName(std::string_view name) {
  const size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// A tag, from behind its "<" to before its ">".
class Tag {
 public:
  explicit Tag(std::string_view inside) : _inside(inside) {
    if (!_inside.empty() && _inside.front() == '/') _isEnd = true, _inside.remove_prefix(1);
    if (!_isEnd && !_inside.empty() && _inside.back() == '/') _isEmpty = true, _inside.remove_suffix(1);
    _name = _inside.substr(0, _inside.find_first_of(kSpaces));
    _inside.remove_prefix(_name.size());
  }

  bool IsEnd() const { return _isEnd; }
  bool IsEmpty() const { return _isEmpty; }
  std::string_view Name() const { return _name; }

  /// The value of an attribute; nothing when there is none, or the attributes up to it are broken.
  std::optional<std::string_view> Attribute(std::string_view name) const {
    for (std::string_view left = _inside;;) {
      left.remove_prefix(std::min(left.find_first_not_of(kSpaces), left.size()));
      const size_t nameEnd = left.find_first_of(" \t\r\n=\"'");
      if (nameEnd == std::string_view::npos) return std::nullopt;
      const std::string_view found = left.substr(0, nameEnd);
      const size_t quote = left.find_first_of("\"'", nameEnd);
      const std::string_view between = left.substr(nameEnd, std::min(quote, left.size()) - nameEnd);
      const bool isAssigned = std::count(between.begin(), between.end(), '=') == 1 &&
                              between.find_first_not_of(" \t\r\n=") == std::string_view::npos;
      const size_t end = quote == std::string_view::npos ? quote : left.find(left[quote], quote + 1);
      if (found.empty() || !isAssigned || end == std::string_view::npos) return std::nullopt;
      if (found == name) return left.substr(quote + 1, end - quote - 1);
      left.remove_prefix(end + 1);
    }
  }

 private:
  std::string_view _inside;
  std::string_view _name;
  bool _isEnd = false;
  bool _isEmpty = false;
};

/// Calls `visit(tag)` for each tag; false when that is false, or the document breaks off or has a type of its own.
template <class Visit>
bool EachTag(std::string_view document, Visit visit) {
  constexpr struct { std::string_view begin, end; } kNoTags[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};
  for (size_t at = 0; (at = document.find('<', at)) != std::string_view::npos;) {
    const std::string_view here = document.substr(at);
    const auto* const noTag = std::find_if(std::begin(kNoTags), std::end(kNoTags),
                                           [&](const auto& known) { return here.starts_with(known.begin); });
    if (noTag != std::end(kNoTags)) {
      const size_t end = document.find(noTag->end, at + noTag->begin.size());
      if (end == std::string_view::npos) return false;
      at = end + noTag->end.size();
      continue;
    }
    if (here.starts_with("<!")) return false;
    size_t end = at + 1;
    for (char quote = 0; end < document.size() && (quote != 0 || document[end] != '>'); ++end) {
      if (quote != 0 ? document[end] == quote : document[end] == '"' || document[end] == '\'') {
        quote = quote != 0 ? '\0' : document[end];
      }
    }
    if (end == document.size() || !visit(Tag(document.substr(at + 1, end - at - 1)))) return false;
    at = end + 1;
  }
  return true;
}

/// The elements that are open, and what the one at the end of the way asks for.
class LevelFinder {
 public:
  bool Visit(const Tag& tag) {
    if (tag.IsEnd()) {
      if (_open.empty() || _open.back() != tag.Name()) return false;
      _open.pop_back();
      return true;
    }
    if (tag.Name().empty() || _open.size() == kMaxDepth || (_open.empty() && _hasRoot)) return false;
    _hasRoot = true;
    _open.push_back(tag.Name());
    if (IsAtEndOfWay()) {
      const std::optional<std::string_view> level = tag.Attribute("level");
      if (_level || !level) return false;
      _level = *level;
    }
    if (tag.IsEmpty()) _open.pop_back();
    return true;
  }

  std::optional<KxWString> Level() const {
    const auto* const known =
        std::find(std::begin(kKxExecutionLevels), std::end(kKxExecutionLevels), _level.value_or(""));
    if (!_open.empty() || known == std::end(kKxExecutionLevels)) return std::nullopt;
    return KxWString(known->begin(), known->end());
  }

 private:
  bool IsAtEndOfWay() const {
    return std::equal(_open.begin(), _open.end(), std::begin(kWay), std::end(kWay),
                      [](std::string_view open, std::string_view step) { return LocalName(open) == step; });
  }

  std::vector<std::string_view> _open;
  bool _hasRoot = false;
  std::optional<std::string_view> _level;
};

}  // namespace

std::optional<KxWString> KxManifest_ExecutionLevel(std::span<const unsigned char> manifest) {
  const std::optional<std::string> document = Utf8Of(manifest);
  LevelFinder finder;
  const bool isWhole = document && EachTag(*document, [&](const Tag& tag) { return finder.Visit(tag); });
  return isWhole ? finder.Level() : std::nullopt;
}

std::optional<KxWString> KxPe_ReadExecutionLevel(const IkxByteSource& file) {
  constexpr uint32_t kOfThisProgram = 1;  // others are for what it loads
  const std::optional<CkxPeImage> image = CkxPeImage::Read(file);
  if (!image) return std::nullopt;
  const auto manifest =
      KxPe_ReadResource(file, *image, {SkxPeResourceId::kManifest, kOfThisProgram}, kMaxManifestBytes);
  return manifest ? KxManifest_ExecutionLevel(*manifest) : std::nullopt;
}
