#include "Common_CPP/registry/registry.h"

#include <gtest/gtest.h>

#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

/// A key that nobody else uses, which is empty at the end again.
class Registry : public testing::Test {
 protected:
  ~Registry() override {
    for (const WCHAR* const value : {KXW("Status"), KXW("Path"), KXW("\u00E4/..")}) KxRegistry_Remove(_key, value);
  }

  const CkxRuntimeFolderScope _scope;
  const KxWString _key = KXW("Software\\") + _scope.Name(KXW("Registry"));
};

TEST_F(Registry, KeepsTextsAndNumbersByName) {
  for (const KxWString& text : {KxWString(), KxWString(KXW("%SystemRoot%\\a b\u00E9.dll")), KxWString(9000, 'x')}) {
    ASSERT_TRUE(KxRegistry_SetText(_key, KXW("Path"), text));
    EXPECT_EQ(KxRegistry_Text(_key, KXW("Path")), text);
  }
  for (const uint32_t number : {0u, 1u, 0xFFFFFFFFu}) {
    ASSERT_TRUE(KxRegistry_SetNumber(_key, KXW("Status"), number));
    EXPECT_EQ(KxRegistry_Number(_key, KXW("STATUS")), number) << "case does not matter";
  }
  ASSERT_TRUE(KxRegistry_SetNumber(_key, KXW("\u00E4/.."), 5));
  EXPECT_EQ(KxRegistry_Number(_key, KXW("\u00E4/..")), 5u);
}

TEST_F(Registry, TellsWhatIsNotThere) {
  EXPECT_FALSE(KxRegistry_Text(_key, KXW("Path")));
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  EXPECT_TRUE(KxRegistry_Remove(_key, KXW("Path")));

  ASSERT_TRUE(KxRegistry_SetNumber(_key, KXW("Status"), 1));
  EXPECT_FALSE(KxRegistry_Text(_key, KXW("Status"))) << "a number is no text";
  ASSERT_TRUE(KxRegistry_SetText(_key, KXW("Status"), KXW("1")));
  EXPECT_FALSE(KxRegistry_Number(_key, KXW("Status"))) << "a text is no number";
  ASSERT_TRUE(KxRegistry_Remove(_key, KXW("Status")));
  EXPECT_FALSE(KxRegistry_Text(_key, KXW("Status")));
}

TEST_F(Registry, ANameWithANulIsNoOther) {
  ASSERT_TRUE(KxRegistry_SetNumber(_key, KXW("Status"), 1));
  const KxWString longer = KxWString(KXW("Status")) + WCHAR{} + KXW("x");
  EXPECT_FALSE(KxRegistry_Number(_key, longer));
  EXPECT_FALSE(KxRegistry_SetNumber(_key, longer, 2));
  EXPECT_FALSE(KxRegistry_Remove(_key, longer));
  EXPECT_EQ(KxRegistry_Number(_key, KXW("Status")), 1u);
}

}  // namespace
