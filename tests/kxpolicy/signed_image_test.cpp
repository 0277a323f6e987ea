// Images that are signed where they are compiled: by which keys, and what `check` tells of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kxpolicy/signed_image.h"

namespace {

using testing::HasSubstr;
using SignedImage = CkxSignedImageTest;

TEST_F(SignedImage, IsMadeByKeysAndCertificatesOfEachForm) {
  const struct {
    const char* certificate;
    const char* key;
  } cases[] = {{"good", "good"}, {"good", "pkcs1"}, {"longer", "good"}, {"chain", "crlf"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.certificate + std::string(" ") + c.key);
    const SkxToolRun compiled = Compile(c.certificate, c.key);
    EXPECT_EQ(compiled.code, 0) << compiled.err;
    const SkxToolRun checked = KxTest_RunTool({"check", image, "--require-signature", KxTest_SignersFile("roots.pem")});
    EXPECT_EQ(checked.code, 0) << checked.out;
    EXPECT_THAT(checked.out, HasSubstr("signed by \"Policy Office\""));
  }
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
               {"good", "curve", 3, "not that of the certificate"},
               {"curve", "good", 3, "not that of the certificate"},
               {"curve", "stranger-curve", 3, "not that of the certificate"},
               {"edwards", "edwards", 3, "a key of this kind cannot sign"},
               {"good", "encrypted", 3, "or is encrypted"},
               {"good", "encrypted-pkcs1", 3, "or is encrypted"},
               {"good", "short", 3, "no private key in PEM form"},
               {"empty", "good", 3, "no certificate in PEM form"},
               {"good", "missing", 3, "missing.key: cannot be read"}};
  for (const auto& c : cases) {
    const SkxToolRun run = Compile(c.certificate, c.key);
    EXPECT_EQ(run.code, c.code) << c.key;
    EXPECT_THAT(run.err, HasSubstr(c.fault));
  }
  EXPECT_EQ(work.Read("image/image.p7s"), before) << "nothing was written";
}

TEST_F(SignedImage, IsToldByCheck) {
  ASSERT_EQ(Compile("good").code, 0);
  EXPECT_THAT(KxTest_RunTool({"check", image}).out, HasSubstr("signed by \"Policy Office\"; --require-signature"));
  const auto check = [&] {
    return KxTest_RunTool({"check", image, "--require-signature", KxTest_SignersFile("roots.pem")});
  };
  EXPECT_THAT(check().out, HasSubstr("signed by \"Policy Office\"\n"));
  work.Write("image/names.json", "{}");
  EXPECT_THAT(KxTest_RunTool({"check", image}).out, HasSubstr("warning: does not hold"));
  EXPECT_EQ(check().code, 1);
  ASSERT_EQ(Compile("").code, 0);
  EXPECT_THAT(check().out, HasSubstr("is missing"));
}

}  // namespace
