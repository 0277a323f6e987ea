#include <gtest/gtest.h>
#include <kx_util/kx_util.h>

#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

/// By both forms of the entry, which leave the texts when there is no file.
TEST(GetHashString, IsTheSha256OfTheFile) {
  const CkxTempFolder folder;
  const KxWString abc = folder.Write("abc", "abc");
  const KxWString missing = folder.Text("missing");
  WCHAR before = 0;
  for (const WCHAR* path : {abc.c_str(), missing.c_str(), KXW(""), static_cast<const WCHAR*>(nullptr)}) {
    const bool isThere = path == abc.c_str();
    CkxUtilStr algorithm(KXW("as"));
    CkxUtilStr hash(KXW("before"));
    EXPECT_EQ(KxUtil_GetHashString(path, algorithm, hash), isThere);
    EXPECT_EQ(KxText_ToUtf8(algorithm.View()) + " " + KxText_ToUtf8(hash.View()),
              isThere ? "SHA256 BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD" : "as before");
    KxBstr algorithmText = &before;
    KxBstr hashText = &before;
    EXPECT_EQ(KxUtil_GetHashString(path, algorithmText, hashText), isThere);
    EXPECT_TRUE(isThere || (algorithmText == &before && hashText == &before));
    if (!isThere) continue;
    EXPECT_TRUE(algorithm == CkxUtilStr(algorithmText) && hash == CkxUtilStr(hashText));
    KxBstr_Free(algorithmText);
    KxBstr_Free(hashText);
  }
}

}  // namespace
