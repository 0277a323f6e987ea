#include "Common_CPP/util/bstr.h"

#include <gtest/gtest.h>

namespace {

TEST(Bstr, ItsBytesAreCountedRightBeforeIt) {
  constexpr unsigned char atOddAddress[] = {0xFF, 'a', 0, 'b', 0};
  const struct {
    const char* name;
    CkxTextView text;
  } cases[] = {
      {"text", KXW("SHA256")},
      {"empty", KXW("")},
      {"no value", CkxTextView()},
      {"a NUL within", CkxTextView(KXW("a\0b"), 3)},
      {"at an odd address", CkxTextView::FromBytes(atOddAddress + 1, 4)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const KxBstr copy = KxBstr_Alloc(c.text);
    ASSERT_NE(copy, nullptr);
    uint32_t bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(copy) - sizeof(bytes), sizeof(bytes));
    EXPECT_EQ(bytes, c.text.Size() * sizeof(WCHAR));
    EXPECT_EQ(KxWString(copy, c.text.Size()), c.text.ToString());
    EXPECT_EQ(copy[c.text.Size()], 0);
    KxBstr_Free(copy);
  }
  KxBstr_Free(nullptr);
}

}  // namespace
