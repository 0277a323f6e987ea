#include "Agent/engine/kx_publish/import/path_pattern.h"

#include <kx_util/match_str.h>

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

constexpr WCHAR kAsterisk = KXW('*');
constexpr WCHAR kPathSeparator = KXW('\\');
constexpr size_t kMaxAsterisks = 16;  // each makes a target
constexpr size_t kMaxGlob = 1024;     // units; what is longer is no path

size_t FirstPlaceholder(const KxWString& glob) { return std::min(glob.find_first_of(KXW("*?")), glob.size()); }

size_t LiteralSuffix(const KxWString& glob) {
  const size_t last = glob.find_last_of(KXW("*?"));
  return last == KxWString::npos ? glob.size() : glob.size() - last - 1;
}

bool IsGlobOf(const KxWString& glob, const KxWString& text) {
  return KxUtil_MatchStr(glob, text, false, EkxStrCompareAs::StrWildcard);
}

/// "a**b" is "a*b".
KxWString WithSingleAsterisks(CkxTextView path) {
  KxWString glob;
  for (size_t i = 0; i < path.Size(); ++i) {
    if (path[i] != kAsterisk || !glob.ends_with(kAsterisk)) glob += path[i];
  }
  return glob;
}

/// Drives, shares and whatever an asterisk stands for: a path of a file is never relative.
bool IsAbsoluteGlob(const KxWString& glob) {
  return glob.starts_with(kAsterisk) || glob.starts_with(KXW("\\\\")) ||
         (glob.size() > 2 && glob[1] == KXW(':') && (glob[2] == kPathSeparator || glob[2] == kAsterisk));
}

std::optional<SkxLocationTest> LocationOf(const KxWString& folder, const KxWString& driveTypes) {
  SkxLocationTest location;
  location.types = driveTypes;
  const bool isAnyFolder = folder == KXW("*") || (folder == KXW("?:\\*") && !driveTypes.empty());
  if (isAnyFolder) return driveTypes.empty() ? std::nullopt : std::optional(location);
  location.pattern = folder;
  if (folder.ends_with(KXW("\\*")) && FirstPlaceholder(folder) == folder.size() - 1) {
    location.withSubfolders = true;
    location.pattern.pop_back();
  }
  const bool isLiteral = FirstPlaceholder(location.pattern) == location.pattern.size();
  const bool isDriveRoot = location.pattern.size() == 3;
  if (isLiteral && !isDriveRoot && location.pattern.ends_with(kPathSeparator)) location.pattern.pop_back();
  return location;
}

}  // namespace

std::optional<std::vector<SkxPathPattern>> KxPathPattern_Expand(CkxTextView path,
                                                                const std::vector<SkxPathVariable>& variables,
                                                                std::string& reason) {
  const KxWString glob = WithSingleAsterisks(path);
  std::vector<SkxPathPattern> patterns;
  if (glob.starts_with(KXW('%'))) {
    for (const SkxPathVariable& variable : variables) {
      const size_t end = CkxTextView(variable.name).Size();
      const bool isIt = KxText_StartsWith(glob, variable.name, false) && glob.substr(end).starts_with(kPathSeparator);
      if (!isIt) continue;
      for (SkxPathPattern place : variable.places) {
        place.glob += glob.substr(end);
        patterns.push_back(std::move(place));
      }
    }
    if (patterns.empty()) reason = "the path begins with a variable that is not known, or that no separator follows";
  } else {
    patterns.push_back({glob, {}});
  }
  for (const SkxPathPattern& pattern : patterns) {
    const auto asterisks = static_cast<size_t>(std::count(pattern.glob.begin(), pattern.glob.end(), kAsterisk));
    if (!IsAbsoluteGlob(pattern.glob) && pattern.driveTypes.empty()) {
      reason = "the path is not that of a file: it begins with no drive, share or asterisk";
    } else if (pattern.glob.ends_with(kPathSeparator)) {
      reason = "the path is that of a folder, which no file has";
    } else if (asterisks > kMaxAsterisks || pattern.glob.size() > kMaxGlob) {
      reason = "the path is too long, or has too many asterisks";
    } else {
      continue;
    }
    return std::nullopt;
  }
  return patterns.empty() ? std::nullopt : std::optional(std::move(patterns));
}

bool KxPathPattern_Covers(const SkxPathPattern& outer, const SkxPathPattern& inner) {
  const bool onItsDrives = outer.driveTypes.empty() || outer.driveTypes == inner.driveTypes;
  // An asterisk of the inner one is met by asterisks of the outer one alone, which take whatever it stands for; a
  // question mark would take it for one unit.
  const bool takesAsterisks = outer.glob.find(KXW('?')) == KxWString::npos;
  if (KxText_Equals(outer.glob, inner.glob, false)) return onItsDrives;
  return onItsDrives && takesAsterisks && IsGlobOf(outer.glob, inner.glob);
}

bool KxPathPattern_NeverMeet(const SkxPathPattern& a, const SkxPathPattern& b) {
  if (!a.driveTypes.empty() && !b.driveTypes.empty() && a.driveTypes != b.driveTypes) return true;
  if (FirstPlaceholder(a.glob) == a.glob.size()) return !IsGlobOf(b.glob, a.glob);
  if (FirstPlaceholder(b.glob) == b.glob.size()) return !IsGlobOf(a.glob, b.glob);
  const size_t begin = std::min(FirstPlaceholder(a.glob), FirstPlaceholder(b.glob));
  const size_t end = std::min(LiteralSuffix(a.glob), LiteralSuffix(b.glob));
  const auto begins = [&](const KxWString& glob) { return CkxTextView(glob).Part(0, begin); };
  const auto ends = [&](const KxWString& glob) { return CkxTextView(glob).Part(glob.size() - end); };
  return !KxText_Equals(begins(a.glob), begins(b.glob), false) || !KxText_Equals(ends(a.glob), ends(b.glob), false);
}

std::vector<SkxFilePlace> KxPathPattern_Places(const SkxPathPattern& pattern) {
  const KxWString& glob = pattern.glob;
  const size_t nameBegin = glob.rfind(kPathSeparator) == KxWString::npos ? 0 : glob.rfind(kPathSeparator) + 1;
  const KxWString name = glob.substr(nameBegin);
  std::vector<SkxFilePlace> places;
  if (name.empty()) return places;
  // The last separator is the one that the pattern has itself. An asterisk right behind it says that too, below.
  if (nameBegin != 0 && !name.starts_with(kAsterisk)) {
    places.push_back({LocationOf(glob.substr(0, nameBegin), pattern.driveTypes), name});
  }
  // Or it is in what an asterisk behind that stands for, of which the rest belongs to the name.
  for (size_t at = glob.find(kAsterisk, nameBegin); at != KxWString::npos; at = glob.find(kAsterisk, at + 1)) {
    const KxWString rest = glob.substr(at);
    const KxWString folder = glob.substr(0, at + 1);
    places.push_back({LocationOf(folder, pattern.driveTypes), rest == KXW("*") ? KxWString() : rest});
  }
  return places;
}
