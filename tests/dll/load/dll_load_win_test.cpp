// A program that has nothing of ours, and loads the DLL when it runs: what rundll32 does.
#include <gtest/gtest.h>
#include <windows.h>

namespace {

TEST(DllLoad, AFunctionIsFoundByItsName) {
  const HMODULE dll = LoadLibraryW(L"kx_util.dll");
  ASSERT_NE(dll, nullptr) << GetLastError();
  const auto entry = [dll](const char* name) { return reinterpret_cast<void*>(GetProcAddress(dll, name)); };

  using RunDll = void(CALLBACK*)(HWND, HINSTANCE, LPWSTR, int);
  const auto regExpTest = reinterpret_cast<RunDll>(entry("RegExpTestW"));
  ASSERT_NE(regExpTest, nullptr);
  wchar_t oneArgument[] = L"a*";
  regExpTest(nullptr, GetModuleHandleW(nullptr), oneArgument, SW_SHOW);  // shows nothing, so nobody has to be there

  using NameOfAction = const wchar_t* (*)(int);
  const auto nameOfAction = reinterpret_cast<NameOfAction>(entry("_Z22KxUtil_PolicyActionStr15EkxPolicyAction"));
  ASSERT_NE(nameOfAction, nullptr);
  EXPECT_STREQ(nameOfAction(2), L"Block");

  EXPECT_EQ(entry("KxMessageBox_Show"), nullptr) << "what is not marked is not exported";
  EXPECT_TRUE(FreeLibrary(dll));
}

}  // namespace
