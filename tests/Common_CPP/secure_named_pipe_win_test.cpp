// Channels that are named pipes: the name, what everyone may do with it, and the program behind a process.
#include <gtest/gtest.h>

#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/runtime_folder_scope.h"

// After windows.h, which they do not include themselves.
#include <aclapi.h>
#include <sddl.h>

namespace {

TEST(SecureNamedPipeWin, EveryoneMayConnectAndNobodyElseMayServe) {
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(scope.Name(L"\u00FC")));
  KxWString name = L"\\\\.\\pipe\\KxPipe.Local%5C" + scope.Name(L"%C3%BC").substr(6);
  const CkxHandle pipe(CreateFileW(name.c_str(), READ_CONTROL, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(pipe);

  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_EQ(GetSecurityInfo(pipe.Get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, &list, nullptr,
                            &descriptor),
            DWORD{ERROR_SUCCESS});
  ASSERT_NE(list, nullptr);
  ACCESS_MASK everyones = 0;
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* entry = nullptr;
    ASSERT_TRUE(GetAce(list, i, &entry));
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (IsWellKnownSid(&allowed->SidStart, WinWorldSid)) everyones |= allowed->Mask;
  }
  LocalFree(descriptor);
  EXPECT_EQ(everyones, ACCESS_MASK{(FILE_GENERIC_READ | FILE_GENERIC_WRITE) & ~FILE_CREATE_PIPE_INSTANCE});
}

TEST(SecureNamedPipeWin, TheSystemKnowsAProcesssImageAndNoSigner) {
  const IkxProcessIdentity* const system = KxPeer_SystemIdentity();
  KxWString own(MAX_PATH, L'\0');
  own.resize(GetModuleFileNameW(nullptr, own.data(), MAX_PATH));
  EXPECT_EQ(system->Image(GetCurrentProcessId()), own);
  EXPECT_EQ(system->Image(4), L"System");
  EXPECT_EQ(system->Image(0xFFFFFFFC), std::nullopt);
  EXPECT_EQ(system->Signer(own), std::nullopt);
}

}  // namespace
