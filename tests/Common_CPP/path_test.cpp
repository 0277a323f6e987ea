#include "Common_CPP/file/path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Common_CPP/util/text.h"

namespace {

KxWString Wide(std::string_view text) { return KxText_FromUtf8(text).value(); }

TEST(Path, NameExtensionFolderDrive) {
  const struct {
    const char *path, *name, *extension, *folder;
    char drive;
  } kCases[] = {
      {R"(C:\dir\name.exe)", "name.exe", ".exe", R"(C:\dir\)", 'C'},
      {R"(c:/dir\sub/name)", "name", "", "c:/dir\\sub/", 'C'},
      {R"(C:\a.b\name)", "name", "", R"(C:\a.b\)", 'C'},
      {R"(C:\a\x.tar.gz)", "x.tar.gz", ".gz", R"(C:\a\)", 'C'},
      {R"(C:\dir\)", "", "", R"(C:\dir\)", 'C'},
      {R"(\\server\share\x.dll)", "x.dll", ".dll", R"(\\server\share\)", 0},
      {"/usr/bin/env", "env", "", "/usr/bin/", 0},
      {"name.", "name.", ".", "", 0},
      {"System", "System", "", "", 0},
      {"C:name", "C:name", "", "", 'C'},
      {"z:", "z:", "", "", 'Z'},
      {"Z", "Z", "", "", 0},
      {"1:\\x", "x", "", "1:\\", 0},
      {"\u0131:\\x", "x", "", "\u0131:\\", 0},  // looks like a letter, but is no drive
      {"", "", "", "", 0},
  };
  for (const auto& c : kCases) {
    const KxWString path = Wide(c.path);
    EXPECT_EQ(KxText_ToUtf8(KxPath_FileName(path)), c.name) << c.path;
    EXPECT_EQ(KxText_ToUtf8(KxPath_Extension(path)), c.extension) << c.path;
    EXPECT_EQ(KxText_ToUtf8(KxPath_Folder(path)), c.folder) << c.path;
    EXPECT_EQ(KxPath_Folder(path).IsNull(), *c.folder == 0) << c.path;
    EXPECT_EQ(KxPath_DriveLetter(path), static_cast<WCHAR>(c.drive)) << c.path;
  }
  EXPECT_TRUE(KxPath_FileName(CkxTextView()).IsEmpty());
  EXPECT_TRUE(KxPath_Folder(CkxTextView()).IsNull());
}

TEST(Path, SplitUnc) {
  const struct {
    const char *path, *prefix, *rest;  // prefix null: not of the form
  } kCases[] = {
      {R"(\\server\share\dir\name)", R"(\\server\share)", R"(\dir\name)"},
      {R"(\\server\share)", R"(\\server\share)", ""},
      {R"(\\server\share\)", R"(\\server\share)", R"(\)"},
      {R"(\\server\share/dir)", R"(\\server\share)", "/dir"},
      {R"(\\s\h)", R"(\\s\h)", ""},
      {R"(\\server)", nullptr, nullptr},
      {R"(\\server\)", nullptr, nullptr},
      {R"(\\server\\share)", nullptr, nullptr},
      {R"(\\server\/share)", nullptr, nullptr},
      {R"(\\server/share\dir)", nullptr, nullptr},
      {R"(\\\server\share)", nullptr, nullptr},
      {R"(\\/server\share)", nullptr, nullptr},
      {"//server/share", nullptr, nullptr},
      {R"(\server\share)", nullptr, nullptr},
      {R"(C:\\server\share)", nullptr, nullptr},
      {R"(\\)", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const auto& c : kCases) {
    const KxWString path = Wide(c.path);
    SkxUncPath parts;
    ASSERT_EQ(KxPath_SplitUnc(path, parts), c.prefix != nullptr) << c.path;
    EXPECT_EQ(KxPath_IsUnc(path), c.prefix != nullptr) << c.path;
    if (c.prefix == nullptr) continue;
    EXPECT_EQ(KxText_ToUtf8(parts.prefix), c.prefix) << c.path;
    EXPECT_EQ(KxText_ToUtf8(parts.rest), c.rest) << c.path;
  }
}

TEST(Path, Normalized) {
  const struct {
    const char *path, *normalized;  // null: as it is
  } kCases[] = {
      {R"(C:\Safe\..\Evil\x.exe)", R"(C:\Evil\x.exe)"},
      {R"(C:/Safe/./../Evil/x.exe)", R"(C:/Evil\x.exe)"},
      {R"(C:\a\b\..\..\..\x)", R"(C:\x)"},
      {R"(C:\a\..)", R"(C:\)"},
      {R"(C:\a\b\..)", R"(C:\a)"},
      {R"(C:\a\b\..\)", R"(C:\a\)"},
      {R"(C:\a\.)", R"(C:\a)"},
      {R"(C:\.)", R"(C:\)"},
      {R"(C:a\..\b)", "C:b"},
      {R"(C:..\b)", R"(C:..\b)"},
      {R"(C:.\b)", "C:b"},
      {R"(\a\..\..\b)", R"(\b)"},
      {R"(\\server\share\..\x)", R"(\\server\share\x)"},
      {R"(\\server\share\a\..\..\x)", R"(\\server\share\x)"},
      {R"(a\..\b)", "b"},
      {R"(a\..\..\b\c\..)", R"(..\b)"},
      {R"(..\..\b)", R"(..\..\b)"},
      {"..", R"(..\)"},

      {R"(\\?\C:\Safe\x.exe)", R"(C:\Safe\x.exe)"},
      {R"(\\.\c:\x)", R"(c:\x)"},
      {"//?/C:/x", "C:/x"},
      {R"(\\?\C:\Safe\..\Evil\x)", R"(C:\Evil\x)"},
      {R"(\\?\UNC\server\share\x)", R"(\\server\share\x)"},
      {R"(\\?\unc\server\share\..\x)", R"(\\server\share\x)"},
      {R"(\\?\\\?\C:\x)", nullptr},  // once
      {R"(\\?\UNC)", nullptr},
      {R"(\\?\UNC\)", nullptr},
      {R"(\\?\UNCLE\share\x)", nullptr},
      {R"(\\?\Volume{1}\x)", nullptr},
      {R"(\\?\)", nullptr},
      {R"(\?\C:\x)", nullptr},

      {R"(C:\Safe\x.exe)", nullptr},
      {R"(C:\Safe\..a\...\b..\.x\x.)", nullptr},
      {R"(C:\\Safe//x)", nullptr},
      {"x.exe", nullptr},
      {"", nullptr},
  };
  for (const auto& c : kCases) {
    const std::optional<KxWString> normalized = KxPath_Normalized(Wide(c.path));
    EXPECT_EQ(normalized ? KxText_ToUtf8(*normalized) : "as it is", c.normalized ? c.normalized : "as it is") << c.path;
  }
  EXPECT_FALSE(KxPath_Normalized(CkxTextView()));
}

enum Where { kOutside, kSame, kBelow };

TEST(Path, FolderInside) {
  const struct {
    const char* name;
    const char *folder, *container;
    Where where;
  } kCases[] = {
      {"case", R"(c:\TOOLS\a)", R"(C:\tools)", kBelow},
      {"case beyond ASCII", "C:\\\u00E4\\a", "c:\\\u00C4", kBelow},
      {"separators at the end", R"(C:\Tools\)", R"(C:\Tools\\)", kSame},
      {"slashes", "C:/Tools/a", R"(C:\Tools)", kBelow},
      {"runs of separators", R"(C:\\Tools\/a)", R"(C:\Tools)", kBelow},
      {"name that begins alike, below", R"(C:\Tools2\a)", R"(C:\Tools\)", kOutside},
      {"other drive", R"(D:\Tools)", R"(C:\Tools)", kOutside},
      {"root of the drive", R"(C:\Tools)", R"(C:\)", kBelow},
      {"root without a backslash", R"(C:\Tools)", "C:", kBelow},
      {"root in root", R"(C:\)", "c:", kSame},
      {"relative to the drive's folder", "C:Tools", R"(C:\Tools)", kOutside},
      {"relative to the drive's folder, both", R"(C:Tools\a)", "C:Tools", kBelow},
      {"no drive", R"(\Tools)", R"(C:\Tools)", kOutside},
      {"share", R"(\\server\share\dir)", R"(\\SERVER\Share)", kBelow},
      {"share with a backslash", R"(\\server\share)", R"(\\server\share\)", kSame},
      {"share in slashes", "//server/share/dir", R"(\\server\share)", kBelow},
      {"other share", R"(\\server\share2\dir)", R"(\\server\share)", kOutside},
      {"other server", R"(\\server2\share)", R"(\\server\share)", kOutside},
      {"whole server", R"(\\server\share)", R"(\\server)", kBelow},
      {"a server is no folder of the root", R"(\\server\share)", R"(\)", kOutside},
      {"relative", R"(Tools\a)", "Tools", kBelow},
      {"relative is not absolute", "Tools", R"(\Tools)", kOutside},

      {"climbs out of the container", R"(C:\Safe\..\Evil)", R"(C:\Safe)", kOutside},
      {"climbs out in slashes", R"(C:\Safe/../Evil)", R"(C:\Safe)", kOutside},
      {"climbs out, two at the end", R"(C:\Safe\a\..\..)", R"(C:\Safe)", kOutside},
      {"single dots", R"(C:\.\Safe\.\a\.)", R"(C:\Safe\.)", kBelow},
      {"dots do not leave the drive", R"(C:\..\..\Safe)", R"(C:\Safe)", kSame},
      {"dots do not leave the share", R"(\\server\share\..\other)", R"(\\server\other)", kOutside},
      {"dots within the share", R"(\\server\share\a\..\..\b)", R"(\\server\share\b)", kSame},
      {"container climbs", R"(C:\Safe\a)", R"(C:\x\..\Safe)", kBelow},
      {"relative climbs out", R"(..\Safe)", R"(..\Safe)", kOutside},
      {"drive-relative climbs out", R"(C:..\Safe\a)", R"(C:Safe)", kOutside},

      {"three dots are a name", R"(C:\Safe\...\a)", R"(C:\Safe)", kBelow},
      {"name that begins with dots", R"(C:\Safe\..a)", R"(C:\Safe)", kBelow},

      {"empty folder", "", R"(C:\Safe)", kOutside},
      {"empty container", R"(C:\Safe)", "", kOutside},
      {"both empty", "", "", kOutside},
  };
  for (const auto& c : kCases) {
    const KxWString folder = Wide(c.folder);
    const KxWString container = Wide(c.container);
    EXPECT_EQ(KxPath_IsFolderInside(folder, container, false), c.where == kSame) << c.name;
    EXPECT_EQ(KxPath_IsFolderInside(folder, container, true), c.where != kOutside) << c.name;
  }
  EXPECT_FALSE(KxPath_IsFolderInside(CkxTextView(), CkxTextView(), true));
}

/// Every absolute path of up to `depth` components.
std::vector<std::string> AllPaths(size_t depth) {
  std::vector<std::string> paths = {"/"};
  for (size_t begin = 0; depth != 0; --depth) {
    const size_t end = paths.size();
    for (; begin != end; ++begin) {
      for (const char* component : {"a/", "ab/", "./", "../"}) paths.push_back(paths[begin] + component);
    }
  }
  return paths;
}

TEST(Path, FolderInsideAgreesWithNormalisedPaths) {
  const std::vector<std::string> folders = AllPaths(5);
  const std::vector<std::string> containers = AllPaths(3);
  const auto normalised = [](const std::string& path) {
    return std::filesystem::path(path).lexically_normal().generic_string();  // with its separator at the end
  };
  for (const std::string& folder : folders) {
    std::string plain = KxText_ToUtf8(KxPath_Normalized(Wide(folder)).value_or(Wide(folder)));
    std::replace(plain.begin(), plain.end(), '\\', '/');
    ASSERT_EQ(plain, normalised(folder)) << folder;
  }
  size_t inside = 0;
  for (const std::string& container : containers) {
    const std::string normalContainer = normalised(container);
    for (const std::string& folder : folders) {
      const std::string normalFolder = normalised(folder);
      const bool below = normalFolder.starts_with(normalContainer);
      inside += below;
      ASSERT_EQ(KxPath_IsFolderInside(Wide(folder), Wide(container), true), below) << folder << " in " << container;
      ASSERT_EQ(KxPath_IsFolderInside(Wide(folder), Wide(container), false), normalFolder == normalContainer)
          << folder << " is " << container;
    }
  }
  EXPECT_GT(inside, folders.size());
}

}  // namespace
