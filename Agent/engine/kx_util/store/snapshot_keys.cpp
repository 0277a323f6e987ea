#include "Agent/engine/kx_util/store/snapshot_keys.h"

#include "Common_CPP/file/path.h"

namespace {

constexpr uint64_t Chain(uint64_t hash, uint64_t next) {
  hash = (hash ^ next) * 0x9E3779B97F4A7C15;
  return hash ^ hash >> 32;
}

uint64_t FoldedFour(CkxTextView text, size_t at) {
  const uint64_t four = KxUnits_FourAt(text.Bytes(), at);
  if (SkxFoldedUnits::IsPlain(four)) return SkxFoldedUnits::Four(four);
  uint64_t folded = 0;
  for (size_t i = 0; i < kKxFour; ++i) folded |= static_cast<uint64_t>(KxText_Fold(text[at + i])) << 16 * i;
  return folded;
}

CkxTextView TakeComponent(CkxTextView& path) {
  size_t begin = 0;
  while (begin < path.Size() && KxPath_IsSeparator(path[begin])) ++begin;
  size_t end = begin;
  while (end < path.Size() && !KxPath_IsSeparator(path[end])) ++end;
  const CkxTextView component = path.Part(begin, end - begin);
  path = path.Part(end);
  return component;
}

bool IsDots(CkxTextView component, size_t count) {
  const auto isDot = [&](size_t at) { return component[at] == KXW('.'); };
  return component.Size() == count && isDot(0) && isDot(count - 1);
}

}  // namespace

uint64_t KxSnapshotKey_Text(CkxTextView text) {
  uint64_t hash = text.Size();
  size_t at = 0;
  for (; text.Size() - at >= kKxFour; at += kKxFour) hash = Chain(hash, FoldedFour(text, at));
  for (; at < text.Size(); ++at) hash = Chain(hash, KxText_Fold(text[at]));
  return hash;
}

std::vector<uint64_t> KxSnapshotKey_Folders(CkxTextView folder) {
  const WCHAR drive = KxPath_DriveLetter(folder);
  CkxTextView rest = drive != 0 ? folder.Part(2) : CkxTextView();
  if (drive == 0 || (!rest.IsEmpty() && !KxPath_IsSeparator(rest.Front()))) return {};
  std::vector<uint64_t> folders;
  folders.reserve(16);
  folders.push_back(Chain(0, drive));
  for (;;) {
    const CkxTextView component = TakeComponent(rest);
    if (component.IsEmpty()) return folders;
    if (IsDots(component, 1)) continue;
    if (!IsDots(component, 2)) {
      folders.push_back(Chain(folders.back(), KxSnapshotKey_Text(component)));
    } else if (folders.size() > 1) {
      folders.pop_back();
    }
  }
}
