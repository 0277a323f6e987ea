#include "Common_CPP/file/path.h"

#include "Common_CPP/util/text.h"

namespace {

size_t FindSeparator(CkxTextView path) {
  size_t at = 0;
  while (at < path.Size() && !KxPath_IsSeparator(path[at])) ++at;
  return at;
}

/// Position behind the last separator; 0 when there is none.
size_t BehindLastSeparator(CkxTextView path) {
  size_t at = path.Size();
  while (at != 0 && !KxPath_IsSeparator(path[at - 1])) --at;
  return at;
}

CkxTextView SkipSeparators(CkxTextView path) {
  while (!path.IsEmpty() && KxPath_IsSeparator(path.Front())) path = path.Part(1);
  return path;
}

/// Takes the component off the front of `path`, with the separators behind it.
CkxTextView TakeFirst(CkxTextView& path) {
  const CkxTextView component = path.Part(0, FindSeparator(path));
  path = SkipSeparators(path.Part(component.Size()));
  return component;
}

/// Takes the component off the end of `path`; empty when none is left.
CkxTextView TakeLast(CkxTextView& path) {
  while (!path.IsEmpty() && KxPath_IsSeparator(path.Back())) path = path.Part(0, path.Size() - 1);
  const CkxTextView component = path.Part(BehindLastSeparator(path));
  path = path.Part(0, path.Size() - component.Size());
  return component;
}

enum class EkxRoot { None, Slash, DriveRoot, DriveFolder, Server };

/// A path in the pieces that decide what ".." can take away: only what is in `body`.
struct SkxPathPieces {
  EkxRoot root = EkxRoot::None;
  CkxTextView rootName;  // "C:" or the server
  CkxTextView share;
  CkxTextView body;

  bool IsRelative() const { return root == EkxRoot::None || root == EkxRoot::DriveFolder; }
};

SkxPathPieces Pieces(CkxTextView path) {
  SkxPathPieces pieces;
  pieces.body = SkipSeparators(path);
  const size_t separators = path.Size() - pieces.body.Size();
  if (separators == 1) {
    pieces.root = EkxRoot::Slash;
  } else if (separators > 1) {
    pieces.root = EkxRoot::Server;
    pieces.rootName = TakeFirst(pieces.body);
    pieces.share = TakeFirst(pieces.body);
  } else if (KxPath_DriveLetter(path) != 0) {
    pieces.rootName = path.Part(0, 2);
    pieces.body = path.Part(2);
    const bool isAbsolute = pieces.body.IsEmpty() || KxPath_IsSeparator(pieces.body.Front());
    pieces.root = isAbsolute ? EkxRoot::DriveRoot : EkxRoot::DriveFolder;
  }
  return pieces;
}

bool IsSameRoot(const SkxPathPieces& a, const SkxPathPieces& b) {
  return a.root == b.root && KxText_Equals(a.rootName, b.rootName, false);
}

bool IsDot(CkxTextView component) { return KxText_Equals(component, KXW("."), true); }
bool IsDotDot(CkxTextView component) { return KxText_Equals(component, KXW(".."), true); }

/// The components of a path from the last to the first, "." and ".." resolved, the share being the first.
/// Going up from the end needs no memory: each ".." swallows the next component that is met.
class CkxComponentsUp {
 public:
  explicit CkxComponentsUp(const SkxPathPieces& pieces) : _pieces(pieces) {}

  /// An empty component is the end.
  CkxTextView Next() {
    for (;;) {
      const CkxTextView component = TakeLast(_pieces.body);
      if (component.IsEmpty()) break;
      if (IsDot(component)) continue;
      if (IsDotDot(component)) {
        ++_swallow;
      } else if (_swallow != 0) {
        --_swallow;
      } else {
        return component;
      }
    }
    const CkxTextView share = _pieces.share;
    _pieces.share = {};
    return share;
  }

  /// After the end: whether a ".." led out of a path whose beginning is not known.
  bool ClimbedOut() const { return _swallow != 0 && _pieces.IsRelative(); }

 private:
  SkxPathPieces _pieces;
  size_t _swallow = 0;
};

/// How many components the path has; false when it climbs out.
bool Depth(const SkxPathPieces& pieces, size_t& depth) {
  CkxComponentsUp components(pieces);
  for (depth = 0; !components.Next().IsEmpty();) ++depth;
  return !components.ClimbedOut();
}

/// Whether a component of `path` is "." or "..".
bool HasDots(CkxTextView path) {
  const auto endsAt = [&](size_t at) { return at >= path.Size() || KxPath_IsSeparator(path[at]); };
  for (size_t at = 0; at < path.Size(); ++at) {
    if (path[at] != KXW('.')) continue;
    const bool begins = at == 0 || KxPath_IsSeparator(path[at - 1]) || path[at - 1] == KXW(':');
    if (begins && (endsAt(at + 1) || (path[at + 1] == KXW('.') && endsAt(at + 2)))) return true;
  }
  return false;
}

KxWString WithoutDots(CkxTextView path) {
  const SkxPathPieces pieces = Pieces(path);
  CkxTextView body = SkipSeparators(pieces.body);
  KxWString text = path.Part(0, path.Size() - body.Size()).ToString();
  size_t kept = text.size();  // no ".." takes away what is before
  while (!body.IsEmpty()) {
    const CkxTextView component = TakeFirst(body);
    if (IsDot(component)) continue;
    if (!IsDotDot(component)) {
      text += component.ToString() + KXW('\\');
    } else if (text.size() != kept) {
      const size_t parent = BehindLastSeparator(CkxTextView(text).Part(0, text.size() - 1));
      text.resize(parent > kept ? parent : kept);
    } else if (pieces.IsRelative()) {
      text += KXW("..\\");
      kept = text.size();
    }
  }
  if (text.size() != kept && !KxPath_IsSeparator(path.Back())) text.pop_back();
  return text;
}

/// "C:\dir" of "\\?\C:\dir", "\\server\share" of "\\?\UNC\server\share".
std::optional<KxWString> WithoutDevicePrefix(CkxTextView path) {
  constexpr size_t kPrefix = 4;
  constexpr const WCHAR* kUnc = KXW("UNC");
  const bool hasPrefix = path.Size() > kPrefix && KxPath_IsSeparator(path[0]) && KxPath_IsSeparator(path[1]) &&
                         (path[2] == KXW('?') || path[2] == KXW('.')) && KxPath_IsSeparator(path[3]);
  if (!hasPrefix) return std::nullopt;
  CkxTextView rest = path.Part(kPrefix);
  if (KxPath_DriveLetter(rest) != 0) return rest.ToString();
  if (!KxText_Equals(TakeFirst(rest), kUnc, false) || rest.IsEmpty()) return std::nullopt;
  return KXW("\\\\") + rest.ToString();
}

}  // namespace

CkxTextView KxPath_FileName(CkxTextView path) { return path.Part(BehindLastSeparator(path)); }

CkxTextView KxPath_Extension(CkxTextView path) {
  const CkxTextView name = KxPath_FileName(path);
  const size_t dot = KxText_FindLastUnit(name, KXW('.'));
  return name.Part(dot == CkxTextView::npos ? name.Size() : dot);
}

CkxTextView KxPath_Folder(CkxTextView path) {
  const size_t end = BehindLastSeparator(path);
  return end == 0 ? CkxTextView() : path.Part(0, end);
}

WCHAR KxPath_DriveLetter(CkxTextView path) {
  if (path.Size() < 2 || path[0] >= 0x80 || path[1] != KXW(':')) return 0;
  const WCHAR letter = KxText_Fold(path[0]);
  return letter >= KXW('A') && letter <= KXW('Z') ? letter : WCHAR{};
}

bool KxPath_SplitUnc(CkxTextView path, SkxUncPath& parts) {
  if (!KxText_StartsWith(path, KXW("\\\\"), true)) return false;
  const size_t server = FindSeparator(path.Part(2));
  const size_t behindServer = 2 + server;
  if (server == 0 || behindServer == path.Size() || path[behindServer] != KXW('\\')) return false;
  const size_t share = FindSeparator(path.Part(behindServer + 1));
  if (share == 0) return false;
  parts.prefix = path.Part(0, behindServer + 1 + share);
  parts.rest = path.Part(parts.prefix.Size());
  return true;
}

std::optional<KxWString> KxPath_Normalized(CkxTextView path) {
  std::optional<KxWString> plain = WithoutDevicePrefix(path);
  const CkxTextView spelled = plain ? CkxTextView(*plain) : path;
  return HasDots(spelled) ? WithoutDots(spelled) : plain;
}

bool KxPath_IsFolderInside(CkxTextView folder, CkxTextView container, bool withSubfolders) {
  if (folder.IsEmpty() || container.IsEmpty()) return false;
  const SkxPathPieces inner = Pieces(folder);
  const SkxPathPieces outer = Pieces(container);
  size_t innerDepth = 0;
  size_t outerDepth = 0;
  if (!IsSameRoot(inner, outer) || !Depth(inner, innerDepth) || !Depth(outer, outerDepth)) return false;
  if (withSubfolders ? innerDepth < outerDepth : innerDepth != outerDepth) return false;

  CkxComponentsUp innerUp(inner);
  CkxComponentsUp outerUp(outer);
  for (; innerDepth != outerDepth; --innerDepth) innerUp.Next();
  for (; outerDepth != 0; --outerDepth) {
    if (!KxText_Equals(innerUp.Next(), outerUp.Next(), false)) return false;
  }
  return true;
}
