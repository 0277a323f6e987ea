#include <gtest/gtest.h>
#include <kx_util/kx_util.h>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr const char* kOfAbc = "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";

TEST(GetHashString, IsTheSha256OfTheFile) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("abc", "abc");
  CkxUtilStr algorithm;
  CkxUtilStr hash;
  ASSERT_TRUE(KxUtil_GetHashString(path.c_str(), algorithm, hash));
  EXPECT_EQ(KxText_ToUtf8(algorithm.View()), "SHA256");
  EXPECT_EQ(KxText_ToUtf8(hash.View()), kOfAbc);

  KxBstr algorithmText = nullptr;
  KxBstr hashText = nullptr;
  ASSERT_TRUE(KxUtil_GetHashString(path.c_str(), algorithmText, hashText));
  EXPECT_EQ(KxText_ToUtf8(algorithmText), "SHA256");
  EXPECT_EQ(KxText_ToUtf8(hashText), kOfAbc);
  KxBstr_Free(algorithmText);
  KxBstr_Free(hashText);
}

TEST(GetHashString, LeavesBothTextsWhenThereIsNoFile) {
  const CkxTempFolder folder;
  const KxWString missing = folder.Text("missing");
  for (const WCHAR* path : {missing.c_str(), KXW(""), static_cast<const WCHAR*>(nullptr)}) {
    CkxUtilStr algorithm(KXW("as"));
    CkxUtilStr hash(KXW("before"));
    EXPECT_FALSE(KxUtil_GetHashString(path, algorithm, hash));
    EXPECT_EQ(KxText_ToUtf8(algorithm.View()) + KxText_ToUtf8(hash.View()), "asbefore");
    WCHAR before = 0;
    KxBstr algorithmText = &before;
    KxBstr hashText = &before;
    EXPECT_FALSE(KxUtil_GetHashString(path, algorithmText, hashText));
    EXPECT_TRUE(algorithmText == &before && hashText == &before);
  }
}

}  // namespace
