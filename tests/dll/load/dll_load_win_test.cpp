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

/// The notifyer's thread sleeps in the DLL's code while its program lets go of the DLL.
TEST(DllLoad, LetGoOfWhileItsThreadWaitsItStaysUntilTheThreadIsStopped) {
  const HMODULE dll = LoadLibraryW(L"kx_util.dll");
  ASSERT_NE(dll, nullptr);
  const auto member = [dll](const char* name) {
    return reinterpret_cast<bool (*)(void*)>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
  };
  const auto construct = member("_ZN25CkxUpdatePoliciesNotifyerC1Ev");
  const auto start = member("_ZN25CkxUpdatePoliciesNotifyer5StartEv");
  const auto stop = member("_ZN25CkxUpdatePoliciesNotifyer4StopEv");
  const auto destroy = member("_ZN25CkxUpdatePoliciesNotifyerD1Ev");
  ASSERT_TRUE(construct != nullptr && start != nullptr && stop != nullptr && destroy != nullptr);

  alignas(16) unsigned char notifyer[64];
  construct(notifyer);
  ASSERT_TRUE(start(notifyer));
  EXPECT_TRUE(FreeLibrary(dll));
  ASSERT_EQ(GetModuleHandleW(L"kx_util.dll"), dll) << "the thread holds it";

  ASSERT_EQ(LoadLibraryW(L"kx_util.dll"), dll);  // the owner's code is in it while it stops
  stop(notifyer);
  destroy(notifyer);
  EXPECT_TRUE(FreeLibrary(dll));
  const auto isGone = [] { return GetModuleHandleW(L"kx_util.dll") == nullptr; };
  for (int i = 0; i < 5000 && !isGone(); ++i) Sleep(1);
  EXPECT_TRUE(isGone());
}

}  // namespace
