// Patterns for whole paths, and the targets that stand for them.
#include "Agent/engine/kx_publish/import/path_pattern.h"

#include <gtest/gtest.h>
#include <kx_util/match_location.h>
#include <kx_util/match_str.h>

#include <random>

#include "Common_CPP/util/text.h"

namespace {

bool IsTakenBy(const KxWString& glob, const KxWString& path) {
  return KxUtil_MatchStr(glob, path, false, EkxStrCompareAs::StrWildcard);
}

/// As a target asks it: the folder by the library's own matcher, then the name.
bool IsAt(const SkxFilePlace& place, const KxWString& path) {
  const CkxSimplePathProvider file(path.c_str(), nullptr);
  const KxWString name = path.substr(path.rfind(KXW('\\')) + 1);
  const bool isThere = !place.location || KxUtil_MatchFileLocation(file, place.location->types, place.location->pattern,
                                                                   place.location->withSubfolders);
  return isThere && (place.fileName.empty() || IsTakenBy(place.fileName, name));
}

/// A beginning that makes it absolute, then units of a small alphabet, so that much matches.
class CkxRandomPaths {
 public:
  explicit CkxRandomPaths(uint32_t seed) : _random(seed) {}
  KxWString Of(CkxTextView alphabet, size_t most) {
    KxWString text;
    for (size_t left = Pick(most); left > 0; --left) text += alphabet[Pick(alphabet.Size())];
    return text;
  }
  KxWString Glob() {
    const KxWString begin = Pick(3) == 0 ? KXW("*") : KXW("C:\\");
    KxWString glob = begin + Of(KXW("ab\\**"), 7);
    for (size_t at; (at = glob.find(KXW("**"))) != KxWString::npos;) glob.erase(at, 1);
    for (size_t at; (at = glob.find(KXW("\\\\"))) != KxWString::npos;) glob.erase(at, 1);
    return glob;
  }
  KxWString Path() {
    KxWString path = KXW("C:\\") + Of(KXW("ab\\"), 8);
    for (size_t at; (at = path.find(KXW("\\\\"))) != KxWString::npos;) path.erase(at, 1);
    return path + KXW("a");
  }

 private:
  size_t Pick(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(_random); }
  std::mt19937 _random;
};

TEST(PathPattern, PlacesMeanThePattern) {
  CkxRandomPaths random(1);
  int taken = 0;
  for (int i = 0; i < 40000; ++i) {
    const SkxPathPattern pattern = {random.Glob(), {}};
    const KxWString path = random.Path();
    const std::vector<SkxFilePlace> places = KxPathPattern_Places(pattern);
    const bool isTaken = IsTakenBy(pattern.glob, path);
    taken += isTaken ? 1 : 0;
    ASSERT_EQ(std::any_of(places.begin(), places.end(), [&](const SkxFilePlace& place) { return IsAt(place, path); }),
              isTaken)
        << KxText_ToUtf8(pattern.glob) << ' ' << KxText_ToUtf8(path);
  }
  EXPECT_GT(taken, 4000);
}

TEST(PathPattern, WhatIsCertainHolds) {
  CkxRandomPaths random(2);
  int covered = 0;
  int apart = 0;
  for (int i = 0; i < 40000; ++i) {
    const SkxPathPattern a = {random.Glob(), {}};
    const SkxPathPattern b = {random.Glob(), {}};
    const KxWString path = random.Path();
    const bool covers = KxPathPattern_Covers(a, b);
    const bool neverMeet = KxPathPattern_NeverMeet(a, b);
    covered += covers ? 1 : 0;
    apart += neverMeet ? 1 : 0;
    const std::string what = KxText_ToUtf8(a.glob + KXW(" ") + b.glob + KXW(" ") + path);
    if (IsTakenBy(b.glob, path)) {
      ASSERT_TRUE(!covers || IsTakenBy(a.glob, path)) << what;
      ASSERT_TRUE(!neverMeet || !IsTakenBy(a.glob, path)) << what;
    }
    ASSERT_EQ(neverMeet, KxPathPattern_NeverMeet(b, a)) << what;
    ASSERT_TRUE(KxPathPattern_Covers(a, a)) << what;
  }
  EXPECT_GT(covered, 1000);
  EXPECT_GT(apart, 1000);
}

TEST(PathPattern, QuestionMarksAndDrivesAreNotCertain) {
  EXPECT_FALSE(KxPathPattern_Covers({KXW("C:\\?"), {}}, {KXW("C:\\*"), {}}));
  EXPECT_FALSE(KxPathPattern_Covers({KXW("?:\\*"), KXW("REMOVABLE")}, {KXW("E:\\*"), {}}));
  EXPECT_TRUE(KxPathPattern_Covers({KXW("*"), {}}, {KXW("?:\\*"), KXW("REMOVABLE")}));
  EXPECT_TRUE(KxPathPattern_NeverMeet({KXW("?:\\*"), KXW("REMOVABLE")}, {KXW("?:\\*"), KXW("CDROM")}));
  EXPECT_FALSE(KxPathPattern_NeverMeet({KXW("?:\\*"), KXW("REMOVABLE")}, {KXW("E:\\*"), {}}));
}

}  // namespace
