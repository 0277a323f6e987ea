// The DLL as rundll32 sees it.
#include <gtest/gtest.h>
#include <windows.h>

namespace {

TEST(RegExpExport, TheDllHasTheEntryByItsName) {
  const HMODULE dll = LoadLibraryW(L"kx_util.dll");
  ASSERT_NE(dll, nullptr) << GetLastError();
  using Entry = void(CALLBACK*)(HWND, HINSTANCE, LPWSTR, int);
  const auto entry = reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(dll, "RegExpTestW")));
  ASSERT_NE(entry, nullptr);
  wchar_t oneArgument[] = L"a*";
  entry(nullptr, GetModuleHandleW(nullptr), oneArgument, SW_SHOW);  // shows nothing, so nobody has to be there

  EXPECT_EQ(GetProcAddress(dll, "KxMessageBox_Show"), nullptr) << "what is not marked is not exported";
  EXPECT_TRUE(FreeLibrary(dll));
}

}  // namespace
