#include <gtest/gtest.h>

#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

namespace fs = std::filesystem;

/// "nothing" for no path at all.
std::string FullPath(const fs::path& path) {
  const std::optional<KxWString> full = KxFile_FullPath(path.string<WCHAR>());
  return full ? KxText_ToUtf8(*full) : "nothing";
}

std::string Text(const fs::path& path) { return KxText_ToUtf8(path.string<WCHAR>()); }

TEST(FullPath, IsAbsoluteAndNormal) {
  const fs::path here = fs::current_path();
  const CkxTempFolder folder;
  const fs::path far = folder.Path();
  const struct {
    const char* name;
    fs::path path;
    fs::path full;
  } kCases[] = {
      {"a name", "x.exe", here / "x.exe"},
      {"below", fs::path("a") / "." / "b" / ".." / "x.exe", here / "a" / "x.exe"},
      {"beside", fs::path("..") / "x.exe", here.parent_path() / "x.exe"},
      {"absolute", far / "x.exe", far / "x.exe"},
      {"absolute, roundabout", far / "none" / ".." / "." / "x.exe", far / "x.exe"},
      {"beyond ASCII", fs::path(u"\u00E4\u0416.exe"), here / fs::path(u"\u00E4\u0416.exe")},
      {"longer than a buffer of the usual size", far / std::string(200, 'a') / std::string(200, 'b'),
       far / std::string(200, 'a') / std::string(200, 'b')},
  };
  for (const auto& test : kCases) EXPECT_EQ(FullPath(test.path), Text(test.full)) << test.name;
  EXPECT_EQ(FullPath(""), "nothing");
  EXPECT_FALSE(KxFile_FullPath(KxWString(KXW("a")) + WCHAR{0} + KXW("b")));
}

}  // namespace
