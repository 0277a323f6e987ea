// Two users and one server: what one of them does to the other.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Common_CPP/secure_ipc/secure_ipc_client.h"
#include "Common_CPP/secure_ipc/secure_ipc_server.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/trace_capture.h"
#include "tests/support/user_scope_posix.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr uid_t kStranger = 4241;
constexpr uint32_t kVeryLong = 60000;  // ms; nothing here takes as long
constexpr const WCHAR* kServer = KXW("Srv");
constexpr const WCHAR* kRequest = KXW("HANDLER");

/// Echoes; for the stranger it takes for ever.
bool Handle(const SkxSecureIpcCaller& caller, std::span<const unsigned char> body, Bytes& reply) {
  if (caller.peer.user.ToUtf8() == "S-1-22-1-4241") {
    while (!caller.cancel.IsOver()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return false;
  }
  reply.assign(body.begin(), body.end());
  return true;
}

bool Ask(uint32_t timeout) {
  CkxSecureIpcClient client;
  Bytes reply;
  return client.Open({kServer, {}, kRequest, 6, {}, {}}, timeout) == EkxSecureIpcResult::Done &&
         client.Send(Bytes{1}) == EkxSecureIpcResult::Done && client.Receive(reply) == EkxSecureIpcResult::Done;
}

TEST(SecureIpcPosix, OneUsersConnectionsAndWorkDelayNobodyElse) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be two users";
  const CkxRuntimeFolderScope scope;
  ASSERT_EQ(chmod(scope.Folder().Path().c_str(), 0755), 0);
  const CkxTraceCapture quiet;
  CkxSecureIpcServer server;
  server.Handle(kRequest, 6, Handle);
  ASSERT_TRUE(server.Start(kServer, {.requestTimeout = kVeryLong, .handlerTimeout = kVeryLong, .patience = kVeryLong}));
  const Bytes request = *KxFrame_Bytes(SkxRequestFrame{6, kRequest, {}, {}, {}});
  for (const bool asks : {false, true}) {
    std::vector<CkxSecurePipe> strangers(200);
    {
      const CkxUserScope stranger(kStranger);
      for (CkxSecurePipe& pipe : strangers) {
        ASSERT_EQ(KxSecurePipe_Connect(kServer, {}, CkxDeadline::After(kVeryLong), pipe), EkxPipeResult::Done);
        if (asks) pipe.Write(request, CkxDeadline::After(kVeryLong));
      }
    }
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(Ask(kVeryLong / 10)) << (asks ? "beside work" : "beside silence");
    if (asks) continue;
    strangers.clear();
  }
  server.Stop();
  server.Wait();
}

}  // namespace
