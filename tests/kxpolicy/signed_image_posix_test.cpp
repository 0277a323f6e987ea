// Signed images where they are published, and keys that others can read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/kxpolicy/signed_image.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class SignedImagePosix : public CkxSignedImageTest {
 protected:
  /// Standard error of whoever refuses; empty where the image is published.
  std::string Published(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"publish", image, "--require-signature", KxTest_SignersFile("roots.pem")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(run.code, run.err.empty() ? 0 : 3) << run.err;
    EXPECT_EQ(KxTest_RunTool({"unpublish"}).code, 0);
    return run.err;
  }

  const CkxRuntimeFolderScope runtime;
};

TEST_F(SignedImagePosix, IsRefusedOnceAnyOfItsFilesIsAnother) {
  const auto sign = [&] { ASSERT_EQ(Compile("good").code, 0); };
  const fs::path folder = work.Path() / "image";
  sign();
  EXPECT_EQ(Published(), "");
  EXPECT_EQ(Published({"--signer", "Policy Office"}), "");
  EXPECT_THAT(Published({"--signer", "Policy office"}), HasSubstr("signed by \"Policy Office\", who is not expected"));

  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path().filename());
  EXPECT_EQ(files.size(), 6u);
  for (const fs::path& file : files) {
    SCOPED_TRACE(file);
    sign();
    fs::remove(folder / file);
    EXPECT_THAT(Published(), HasSubstr(file == "image.p7s" ? "the image is not signed" : "does not hold"));
    sign();
    std::string bytes = work.Read("image" / file);
    bytes.back() ^= 1;
    work.Write("image" / file, bytes);
    const std::string fault = Published();
    EXPECT_TRUE(fault.find("does not hold") != fault.npos || file == "applicable.json") << fault;
    EXPECT_NE(fault, "");
  }
  sign();
  fs::rename(folder / "alerts.sec", folder / "appgroups.sec");
  EXPECT_THAT(Published(), HasSubstr("does not hold")) << "the same bytes under another name";
  ASSERT_EQ(Compile("").code, 0);
  EXPECT_THAT(Published(), HasSubstr("image.p7s: is missing"));
  ASSERT_EQ(Compile("colleague").code, 0);
  EXPECT_EQ(Published(), "");
  EXPECT_NE(Published({"--signer", "Policy Office"}), "");
  ASSERT_EQ(Compile("outsider").code, 0);
  EXPECT_THAT(Published(), HasSubstr("leads to no root that counts"));
  ASSERT_EQ(Compile("expired").code, 0);
  EXPECT_THAT(Published(), HasSubstr("not valid now"));
}

TEST_F(SignedImagePosix, IsNotMadeWithAKeyThatOthersCanRead) {
  work.Write("policies.json", R"({"policies": []})");
  const std::string open = KxTest_PathText(work.Path() / "open.key");
  fs::copy_file(KxTest_SignersFile("good.key"), open);
  ASSERT_EQ(chmod(open.c_str(), 0644), 0);
  const SkxToolRun run = KxTest_RunTool({"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image,
                                         "--sign", open, "--certificate", KxTest_SignersFile("good.pem")});
  EXPECT_EQ(run.code, 2);
  EXPECT_THAT(run.err, HasSubstr("its owner alone"));
}

}  // namespace
