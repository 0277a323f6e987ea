#include "Common_CPP/file/path.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

KxWString Wide(std::string_view text) { return KxText_FromUtf8(text).value(); }

using Utf8Text = std::string;
using TextOrNone = std::optional<std::string>;

TextOrNone OrNone(CkxTextView text) { return text.IsNull() ? TextOrNone() : KxText_ToUtf8(text); }

TEST(Path, NameExtensionFolderDrive) {
  KxTest_ForRows<KxWString, Utf8Text, Utf8Text, TextOrNone, KxWString>(
      "path/parts.txt",
      [](const auto& path, const auto& name, const auto& extension, const auto& folder, const auto& drive) {
        EXPECT_EQ(KxText_ToUtf8(KxPath_FileName(path)), name);
        EXPECT_EQ(KxText_ToUtf8(KxPath_Extension(path)), extension);
        EXPECT_EQ(OrNone(KxPath_Folder(path)), folder);
        EXPECT_EQ(KxPath_DriveLetter(path), drive.empty() ? WCHAR{0} : drive[0]);
      });
  EXPECT_TRUE(KxPath_FileName(CkxTextView()).IsEmpty());
  EXPECT_TRUE(KxPath_Folder(CkxTextView()).IsNull());
}

TEST(Path, SplitUnc) {
  KxTest_ForRows<KxWString, TextOrNone, TextOrNone>("path/shares.txt",
                                                    [](const auto& path, const auto& share, const auto& rest) {
                                                      SkxUncPath parts;
                                                      EXPECT_EQ(KxPath_SplitUnc(path, parts), share.has_value());
                                                      EXPECT_EQ(KxPath_IsUnc(path), share.has_value());
                                                      EXPECT_EQ(OrNone(parts.prefix), share);
                                                      EXPECT_EQ(OrNone(parts.rest), rest);
                                                    });
}

TEST(Path, Normalized) {
  KxTest_ForRows<KxWString, TextOrNone>("path/normal.txt", [](const auto& path, const auto& normal) {
    const std::optional<KxWString> normalized = KxPath_Normalized(path);
    EXPECT_EQ(normalized ? KxText_ToUtf8(*normalized) : TextOrNone(), normal);
  });
  EXPECT_FALSE(KxPath_Normalized(CkxTextView()));
}

TEST(Path, FolderInside) {
  KxTest_ForRows<Utf8Text, KxWString, KxWString, Utf8Text>(
      "path/inside.txt", [](const auto&, const auto& folder, const auto& container, const auto& where) {
        const bool isSame = KxPath_IsFolderInside(folder, container, false);
        const bool isInside = KxPath_IsFolderInside(folder, container, true);
        EXPECT_EQ(isSame && isInside ? "same" : isInside ? "below" : isSame ? "" : "outside", where);
      });
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
