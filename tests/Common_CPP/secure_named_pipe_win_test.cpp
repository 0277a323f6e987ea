// Channels that are named pipes: the name, what everyone may do with it, and the program behind a process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/stranger_win.h"
#include "tests/support/trace_capture.h"

// After windows.h, which they do not include themselves.
#include <aclapi.h>

namespace {

TEST(SecureNamedPipeWin, EveryoneMayConnectAndNobodyElseMayServe) {
  const CkxRuntimeFolderScope scope;
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(scope.Name(L"\u00FC")));
  const KxWString name = L"KxPipe.Local%5C" + scope.Name(L"%C3%BC").substr(6);
  // Where an administrator's lie; anybody else's are found without the prefix.
  const KxWString place = L"\\\\.\\pipe\\ProtectedPrefix\\Administrators\\" + name;
  const CkxHandle pipe(CreateFileW(place.c_str(), READ_CONTROL, 0, nullptr, OPEN_EXISTING, 0, nullptr));
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
  const IkxProcessIdentity* const system = &KxPeer_SystemIdentity();
  KxWString own(MAX_PATH, L'\0');
  own.resize(GetModuleFileNameW(nullptr, own.data(), MAX_PATH));
  EXPECT_EQ(system->Image(GetCurrentProcessId()), own);
  EXPECT_EQ(system->Image(4), L"System");
  EXPECT_EQ(system->Image(0xFFFFFFFC), std::nullopt);
  EXPECT_EQ(system->Signer(own), std::nullopt);
}

TEST(SecureNamedPipeWin, AStrangerUnderTheAgentsNameIsToldNothing) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Squatted");
  const KxWString place = L"\\\\.\\pipe\\KxPipe.Local%5C" + name.substr(6);
  CkxStrangersAccess strangers;
  const CkxHandle squatted(CreateNamedPipeW(place.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, PIPE_UNLIMITED_INSTANCES,
                                            4096, 4096, 0, strangers.Attributes()));
  ASSERT_TRUE(squatted);
  CkxTraceCapture trace;
  CkxSecurePipe pipe;
  EXPECT_EQ(KxSecurePipe_Connect(name, {}, CkxDeadline::After(10000), pipe), EkxPipeResult::WrongPeer);
  EXPECT_THAT(trace.Texts(), testing::ElementsAre(testing::HasSubstr("serves as S-1-5-21-9-9-9-1001")));

  CkxSecurePipeListener agent;
  ASSERT_TRUE(agent.Listen(name)) << "it is in nobody's way";
  EXPECT_EQ(KxSecurePipe_Connect(name, {}, CkxDeadline::After(10000), pipe), EkxPipeResult::Done);
}

/// Who lets itself only be identified lets nobody open a file for it.
TEST(SecureNamedPipeWin, AServerActsAsItsClientAndGoesBack) {
  const CkxRuntimeFolderScope scope;
  const KxWString name = scope.Name(L"Acting");
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(name));
  CkxSecurePipe client;
  ASSERT_EQ(KxSecurePipe_Connect(name, {{}, true}, CkxDeadline::After(10000), client), EkxPipeResult::Done);
  CkxSecurePipe server;
  ASSERT_TRUE(listener.Accept(server));
  EXPECT_EQ(server.ClientAccount()->ToUtf8(), KxToken_User(nullptr)->ToUtf8());
  const unsigned char sent[1] = {1};
  unsigned char byte[1];
  size_t count = 0;
  ASSERT_EQ(client.Write(sent, CkxDeadline::After(10000)), EkxPipeResult::Done);
  ASSERT_EQ(server.Read(byte, CkxDeadline::After(10000), count), EkxPipeResult::Done);
  CkxHandle token;
  {
    const CkxActAsClient acting(server);
    EXPECT_TRUE(acting);
    EXPECT_TRUE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()));
  }
  EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()));
}

}  // namespace
