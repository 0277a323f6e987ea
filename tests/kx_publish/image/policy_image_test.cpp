#include "Agent/engine/kx_publish/image/policy_image.h"

#include <gtest/gtest.h>

#include "Common_CPP/file/file_lock.h"
#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

using Bytes = SkxPolicyImage::Bytes;

SkxPolicyImage Full() { return {Bytes{1, 0, 0, 0, 9}, Bytes{2, 0, 0, 0}, Bytes{}, "{\"*\": [1]}"}; }

void ExpectSame(const SkxPolicyImage& a, const SkxPolicyImage& b) {
  EXPECT_EQ(a.policies, b.policies);
  EXPECT_EQ(a.appGroups, b.appGroups);
  EXPECT_EQ(a.alerts, b.alerts);
  EXPECT_EQ(a.applicable, b.applicable);
}

SkxPolicyImage Loaded(const KxWString& folder) {
  SkxPolicyImage image;
  std::string error;
  EXPECT_TRUE(KxPolicyImage_Load(folder, image, error)) << error;
  return image;
}

TEST(PolicyImage, ComesBackAsItWasWritten) {
  const CkxTempFolder temp;
  std::string error;
  for (const char* const name : {"image", "image/", "./image/.", "other/../image"}) {
    std::filesystem::create_directory(temp.Path() / "other");
    ASSERT_TRUE(KxPolicyImage_Write(temp.Text(name), Full(), error)) << name << ": " << error;
    std::filesystem::remove(temp.Path() / "other");
    ExpectSame(Loaded(temp.Text("image")), Full());
    EXPECT_EQ(temp.Count(), 1u) << name << ": nothing is left beside the image";
  }
}

TEST(PolicyImage, WritingReplacesTheWholeImage) {
  const CkxTempFolder temp;
  std::string error;
  ASSERT_TRUE(KxPolicyImage_Write(temp.Text("image"), Full(), error)) << error;
  SkxPolicyImage less;
  less.policies = Bytes{0, 0, 0, 0};
  ASSERT_TRUE(KxPolicyImage_Write(temp.Text("image"), less, error)) << error;
  ExpectSame(Loaded(temp.Text("image")), less);
  EXPECT_EQ(temp.Count(), 1u);
  ASSERT_TRUE(KxPolicyImage_Write(temp.Text("a/b/image"), Full(), error)) << error << ": folders above are made";
  ExpectSame(Loaded(temp.Text("a/b/image")), Full());
}

TEST(PolicyImage, WhatIsNoImageIsNeverReplaced) {
  const CkxTempFolder temp;
  std::string error;

  temp.Write("file", "precious");
  EXPECT_FALSE(KxPolicyImage_Write(temp.Text("file"), Full(), error));
  EXPECT_NE(error.find("file: is not a folder"), std::string::npos) << error;
  EXPECT_EQ(temp.Read("file"), "precious");

  std::filesystem::create_directory(temp.Path() / "home");
  temp.Write("home/policies.sec", "old");
  temp.Write("home/thesis.txt", "precious");
  EXPECT_FALSE(KxPolicyImage_Write(temp.Text("home"), Full(), error));
  EXPECT_NE(error.find("thesis.txt: is not part of an image"), std::string::npos) << error;
  EXPECT_EQ(temp.Read("home/thesis.txt"), "precious");
  EXPECT_EQ(temp.Read("home/policies.sec"), "old");

  EXPECT_FALSE(KxPolicyImage_Write(temp.Text("file/below/image"), Full(), error)) << "a file is no folder to be in";
  EXPECT_NE(error.find("file"), std::string::npos) << error;
  EXPECT_EQ(temp.Count(), 2u);
}

TEST(PolicyImage, LoadingSaysWhatIsWrong) {
  const CkxTempFolder temp;
  temp.Write("file", "");
  std::filesystem::create_directories(temp.Path() / "strange" / "policies.sec");
  std::filesystem::create_directory(temp.Path() / "rules");
  temp.Write("rules/applicable.json", R"({"*": [1], "S-1-5-18": [1, -2]})");
  std::filesystem::create_directory(temp.Path() / "syntax");
  temp.Write("syntax/applicable.json", "{\n  // no comments here\n}");
  for (const char* const folder : {"names", "above/strange"}) {
    std::filesystem::create_directories(temp.Path() / folder);
  }
  temp.Write("names/names.json", "{}");
  const std::pair<const char*, const char*> cases[] = {
      {"names", "names: is no image: "},
      {"above", "strange: is not part of an image"},
      {"file", "file: "},
      {"strange", "policies.sec: cannot be read"},
      {"rules", "applicable.json: /S-1-5-18/1: must be a whole number"},
      {"syntax", "applicable.json: line 2, column 3"},
  };
  for (const auto& [folder, told] : cases) {
    SkxPolicyImage image;
    std::string error;
    EXPECT_FALSE(KxPolicyImage_Load(temp.Text(folder), image, error)) << folder;
    EXPECT_NE(error.find(told), std::string::npos) << folder << ": " << error;
  }
}

TEST(PolicyImage, AMissingFileIsASectionThatIsNotPublished) {
  const CkxTempFolder temp;
  std::filesystem::create_directory(temp.Path() / "image");
  temp.Write("image/alerts.sec", "");
  temp.Write("image/names.json", "whatever it is");
  SkxPolicyImage alerts;
  alerts.alerts.emplace();
  ExpectSame(Loaded(temp.Text("image")), alerts);
  std::string error;
  EXPECT_TRUE(KxPolicyImage_Write(temp.Text("image"), Full(), error)) << error << ": names may be replaced too";
  EXPECT_FALSE(std::filesystem::exists(temp.Path() / "image" / "names.json"));
}

TEST(PolicyImage, WhatAKilledWriterLeftGoesWithTheNext) {
  const CkxTempFolder temp;
  std::string error;
  for (const char* const folder : {".kx-image-0/new", ".kx-image-1/new", ".kx-image-7/old"}) {
    std::filesystem::create_directories(temp.Path() / folder);
  }
  temp.Write(".kx-image-0/lock", "");
  temp.Write(".kx-image-7/old/policies.sec", "");
  CkxFileLock atWork;
  ASSERT_TRUE(atWork.Acquire(temp.Text(".kx-image-1/lock")));
  ASSERT_TRUE(KxPolicyImage_Write(temp.Text("image"), Full(), error)) << error;
  EXPECT_TRUE(std::filesystem::exists(temp.Path() / ".kx-image-1" / "new")) << "somebody is at work there";
  EXPECT_EQ(temp.Count(), 2u);
}

}  // namespace
