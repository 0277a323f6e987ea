#include <kx_util/file_src_type.h>

#include <gtest/gtest.h>

#include "tests/support/utf8.h"

namespace {

/// What they name, how they rank and what they read and write: tests/data/match/source_types.txt.
TEST(FileSrcTypeArray, IsNullUntilItIsMade) {
  CkxFileSrcTypeArray types;
  EXPECT_TRUE(types.IsNull() && types.IsEmpty());
  types.Create();
  EXPECT_TRUE(!types.IsNull() && types.IsEmpty());
  types.Add(CkxFileSrcType(CkxFileSrcType::None));
  EXPECT_EQ(types.GetCount(), 1) << "whatever it is given";
  types.FromStr(KXW("Web"));
  EXPECT_TRUE(types.IsNull());
}

TEST(FileSrcTypeArray, CopiesAreTheirOwn) {
  CkxFileSrcTypeArray types;
  types.FromStr(KXW("Share,eMail"));
  const CkxFileSrcTypeArray copy = types;
  const CkxFileSrcTypeArray& itself = types;
  types = itself;
  CkxUtilStr text;
  EXPECT_EQ(KxTest_Utf8(types.ToStr(text).String()), "eMail,Share");
  EXPECT_EQ(copy.GetAt(0), CkxFileSrcType::Share) << "sorting one leaves the other as it is";
  types = CkxFileSrcTypeArray();
  EXPECT_TRUE(types.IsNull());
  EXPECT_EQ(copy.GetCount(), 2);
  types.Add(copy.GetAt(1));
  EXPECT_EQ(types.GetAt(0), CkxFileSrcType::EMail);
}

}  // namespace
