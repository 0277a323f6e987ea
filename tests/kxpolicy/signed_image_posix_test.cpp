// Signed images where they are published, and keys that others can read.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include <cstdio>
#include <memory>

#include "tests/kxpolicy/served.h"
#include "tests/kxpolicy/service_status.h"
#include "tests/kxpolicy/signed_image.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// The certificate of `good`, with another end: so many seconds from now.
void EndCertificateIn(long seconds, const std::string& file) {
  const auto read = [](const std::string& name, auto reader) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pem(std::fopen(KxTest_SignersFile(name).c_str(), "r"),
                                                              std::fclose);
    return reader(pem.get(), nullptr, nullptr, nullptr);
  };
  const std::unique_ptr<X509, void (*)(X509*)> certificate(read("good.pem", PEM_read_X509), X509_free);
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> root(read("roots.key", PEM_read_PrivateKey), EVP_PKEY_free);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), seconds);
  ASSERT_GT(X509_sign(certificate.get(), root.get(), EVP_sha256()), 0);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(file.c_str(), "w"), std::fclose);
  ASSERT_EQ(PEM_write_X509(out.get(), certificate.get()), 1);
}

class SignedImagePosix : public CkxSignedImageTest {
 protected:
  void CompileOneSigned(int id, const std::string& key, const std::string& certificate) const {
    work.Write("policies.json", R"({"policies": [{"id": )" + std::to_string(id) +
                                    R"(, "name": "No tools", "action": "block", "targets": []}]})");
    const SkxToolRun run = KxTest_RunTool({"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image,
                                           "--sign", KxTest_SignersFile(key), "--certificate", certificate});
    ASSERT_EQ(run.code, 0) << run.err;
  }

  /// Whether a service that has an image whose certificate ends in so many seconds would go back to it, and whether it
  /// would when that time is over. Nothing where that came too soon.
  std::optional<std::pair<bool, bool>> IsBeforeThenAndLater(long seconds) const {
    const std::string ending = KxTest_PathText(work.Path() / "ending.pem");
    EndCertificateIn(seconds, ending);
    CompileOneSigned(7, "good.key", ending);
    CkxServedImage served(image, {"--require-signature", KxTest_SignersFile("roots.pem")});
    if (KxTest_StatusWhen([](const auto&) { return true; }).is_null()) return std::nullopt;

    CompileOneSigned(8, "good.key", KxTest_SignersFile("good.pem"));
    const auto isThere = [](const nlohmann::json& status) { return !status["before"].is_null(); };
    nlohmann::json status = KxTest_StatusOfPolicy(8);
    const bool then = isThere(status);
    for (long i = 0; i < seconds && isThere(status); ++i) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
      status = KxTest_StatusOfPolicy(8);
    }
    return std::pair(then, isThere(status));
  }

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

TEST_F(SignedImagePosix, IsNothingToGoBackToOnceItsCertificateHasEnded) {
  const CkxRuntimeFolderScope runtime;
  std::optional<std::pair<bool, bool>> isBefore;
  for (const long seconds : {3, 15, 75}) {  // the slower the machine, the longer it has to hold
    isBefore = IsBeforeThenAndLater(seconds);
    if (isBefore && isBefore->first) break;
  }
  EXPECT_EQ(isBefore, std::pair(true, false));
}

}  // namespace
