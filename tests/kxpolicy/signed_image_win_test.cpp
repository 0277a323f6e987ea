// Keys that others can read, as Windows says who can.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/util/handle_win.h"
#include "tests/kxpolicy/signed_image.h"

// After windows.h, which it does not include itself.
#include <sddl.h>

namespace {

using testing::HasSubstr;
using SignedImageWin = CkxSignedImageTest;

bool SetRights(const std::filesystem::path& file, const wchar_t* rights) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(rights, SDDL_REVISION_1, &descriptor, nullptr);
  const bool isSet = SetFileSecurityW(file.c_str(), DACL_SECURITY_INFORMATION, descriptor);
  LocalFree(descriptor);
  return isSet;
}

TEST_F(SignedImageWin, IsNotMadeWithAKeyThatOthersCanRead) {
  work.Write("policies.json", R"({"policies": []})");
  const std::filesystem::path key = work.Path() / "own.key";
  std::filesystem::copy_file(KxTest_SignersFile("good.key"), key);
  const struct {
    const wchar_t* rights;
    int code;
  } cases[] = {{L"D:P(A;;FA;;;BA)(A;;FR;;;WD)", 2}, {L"D:P(A;;FA;;;BA)(A;;FA;;;SY)", 0}};
  for (const auto& c : cases) {
    ASSERT_TRUE(SetRights(key, c.rights)) << GetLastError();
    const SkxToolRun run =
        KxTest_RunTool({"compile", KxTest_PathText(work.Path() / "policies.json"), "-o", image, "--sign",
                        KxTest_PathText(key), "--certificate", KxTest_SignersFile("good.pem")});
    EXPECT_EQ(run.code, c.code) << run.err;
    EXPECT_THAT(run.err, HasSubstr(c.code == 2 ? "its owner alone" : ""));
  }
}

}  // namespace
