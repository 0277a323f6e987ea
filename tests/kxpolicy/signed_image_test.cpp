// Images that are signed where they are compiled, and held against that where they are published.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/kxpolicy/run_tool.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

std::string Made(const std::string& name) { return KX_IMAGE_SIGNATURES "/" + name; }

class SignedImage : public testing::Test {
 protected:
  SkxToolRun Compile(const std::string& signer, const std::string& key = "") const {
    work.Write("policies.json", R"({"policies": [{"id": 7, "name": "No tools", "action": "block", "targets": []}],
                                   "applicable": {"*": [7]}})");
    std::vector<std::string> arguments = {"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image};
    if (!signer.empty()) {
      const std::string keyFile = Made((key.empty() ? signer : key) + ".key");
      arguments.insert(arguments.end(), {"--sign", keyFile, "--certificate", Made(signer + ".pem")});
    }
    return KxTest_RunTool(arguments);
  }

  /// Standard error of whoever refuses; empty where the image is published.
  std::string Published(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"publish", image, "--require-signature", Made("roots.pem")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const SkxToolRun run = KxTest_RunTool(arguments);
    EXPECT_EQ(run.code, run.err.empty() ? 0 : 3) << run.err;
    EXPECT_EQ(KxTest_RunTool({"unpublish"}).code, 0);
    return run.err;
  }

  const CkxTraceCapture quiet;
  const CkxRuntimeFolderScope runtime;
  const CkxTempFolder work;
  const std::string image = KxTest_PathText(work.Path() / "image");
};

TEST_F(SignedImage, IsRefusedOnceAnyOfItsFilesIsAnother) {
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

TEST_F(SignedImage, IsNotMadeWithAKeyThatWillNotDo) {
  ASSERT_EQ(Compile("good").code, 0);
  const std::string before = work.Read("image/image.p7s");
  const struct {
    const char* certificate;
    const char* key;
    int code;
    const char* fault;
  } cases[] = {{"good", "colleague", 3, "not that of the certificate"},
               {"good", "encrypted", 3, "or is encrypted"},
               {"good", "missing", 3, "missing.key: cannot be read"}};
  for (const auto& c : cases) {
    const SkxToolRun run = Compile(c.certificate, c.key);
    EXPECT_EQ(run.code, c.code) << c.key;
    EXPECT_THAT(run.err, HasSubstr(c.fault));
  }
  EXPECT_EQ(work.Read("image/image.p7s"), before) << "nothing was written";

  const std::string open = KxTest_PathText(work.Path() / "open.key");
  fs::copy_file(Made("good.key"), open);
  ASSERT_EQ(chmod(open.c_str(), 0644), 0);
  const SkxToolRun run = KxTest_RunTool({"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image,
                                         "--sign", open, "--certificate", Made("good.pem")});
  EXPECT_EQ(run.code, 2);
  EXPECT_THAT(run.err, HasSubstr("its owner alone"));
}

TEST_F(SignedImage, IsToldByCheck) {
  ASSERT_EQ(Compile("good").code, 0);
  EXPECT_THAT(KxTest_RunTool({"check", image}).out, HasSubstr("signed by \"Policy Office\"; --require-signature"));
  const auto check = [&] { return KxTest_RunTool({"check", image, "--require-signature", Made("roots.pem")}); };
  EXPECT_THAT(check().out, HasSubstr("signed by \"Policy Office\"\n"));
  work.Write("image/names.json", "{}");
  EXPECT_THAT(KxTest_RunTool({"check", image}).out, HasSubstr("warning: does not hold"));
  EXPECT_EQ(check().code, 1);
  ASSERT_EQ(Compile("").code, 0);
  EXPECT_THAT(check().out, HasSubstr("is missing"));
}

}  // namespace
