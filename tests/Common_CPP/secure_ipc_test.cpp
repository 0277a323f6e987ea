// Client and server of a call, and each against a peer that does not keep to the rules: the byte channel below is what
// such a peer is made of.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <list>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/secure_ipc/secure_ipc_client.h"
#include "Common_CPP/secure_ipc/secure_ipc_server.h"
#include "Common_CPP/util/last_error.h"
#include "tests/support/known_program.h"
#include "tests/support/process_resources.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runtime_folder_scope.h"

namespace {

using Result = EkxSecureIpcResult;

constexpr uint32_t kLong = 60000;  // ms; nothing here takes as long, so that an end before it has another reason
constexpr uint32_t kShort = 500;   // ms; a tenth of it is more than the clock's grain

const KxBytes kBody = {1, 2, 3};

CkxDeadline Long() { return CkxDeadline::After(kLong); }

/// The whole call.
Result Call(const SkxSecureIpcRequest& request, std::span<const unsigned char> body, KxBytes& reply,
            uint32_t timeout = kLong) {
  CkxSecureIpcClient client;
  Result result = client.Open(request, timeout);
  if (result == Result::Done) result = client.Send(body);
  if (result == Result::Done) result = client.Receive(reply);
  return result;
}

/// How many requests, each of a body of its own, come back as they were; as many threads ask at once.
int AnsweredOf(int requests, int threads, const SkxSecureIpcRequest& request) {
  std::atomic<int> answered = 0;
  std::vector<std::thread> clients;
  for (int thread = 0; thread < threads; ++thread) {
    clients.emplace_back([&, thread] {
      for (int i = thread; i < requests; i += threads) {
        const KxBytes body = {static_cast<unsigned char>(i)};
        KxBytes reply;
        if (Call(request, body, reply) == Result::Done && reply == body) ++answered;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  return answered;
}

bool Echo(const SkxSecureIpcCaller&, std::span<const unsigned char> body, KxBytes& reply) {
  reply.assign(body.begin(), body.end());
  return true;
}

/// How many milliseconds `wait` takes to answer `expected`: not less than `timeout`, and at most a tenth more. Another
/// program may have the processor just then, so that one good attempt of three will do.
template <class Expected, class Wait>
void ExpectTakes(uint32_t timeout, Expected expected, const Wait& wait) {
  int64_t elapsed = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(wait(), expected);
    elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin).count();
    ASSERT_GE(elapsed, timeout);
    if (elapsed <= timeout + timeout / 10) return;
  }
  ADD_FAILURE() << elapsed << " ms instead of " << timeout;
}

class SecureIpc : public testing::Test {
 protected:
  const CkxRuntimeFolderScope _scope;
  const KxWString _name = _scope.Name(KXW("Srv"));
  const SkxSecureIpcRequest _request = {_name, KXW("Cli"), KXW("HANDLER_ECHO"), 6, {KXW("Img"), KXW("Sgn")}, {}};
};

/// A server that does what it likes with each client's channel.
class CkxRawServer {
 public:
  template <class Behaviour>
  CkxRawServer(const KxWString& name, Behaviour behaviour) {
    EXPECT_TRUE(_listener.Listen(name));
    _thread = std::thread([this, behaviour] {
      CkxSecurePipe pipe;
      while (_listener.Accept(pipe)) {
        behaviour(pipe);
        pipe.Close();
      }
    });
  }
  ~CkxRawServer() {
    _listener.Stop();
    _thread.join();
  }

 private:
  CkxSecurePipeListener _listener;
  std::thread _thread;
};

/// Reads until the peer closes its end.
size_t ReadAll(CkxSecurePipe& pipe) {
  size_t all = 0;
  size_t count = 0;
  unsigned char bytes[4096];
  while (pipe.Read(bytes, Long(), count) == EkxPipeResult::Done) all += count;
  return all;
}

/// A client's end that keeps to no rules.
CkxSecurePipe Connect(const KxWString& name, const KxBytes& bytes) {
  CkxSecurePipe pipe;
  EXPECT_EQ(KxSecurePipe_Connect(name, {}, Long(), pipe), EkxPipeResult::Done);
  EXPECT_EQ(pipe.Write(bytes, Long()), EkxPipeResult::Done);
  return pipe;
}

KxBytes HalfAFrame() { return {'K', 'X', 'R', 'Q', 2, 0, 0, 0, 6, 0}; }

/// A request that claims 3 GiB of body.
KxBytes Claim() {
  return {'K', 'X', 'R', 'Q', 2, 0, 0, 0, 6, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xC0};
}

// ---- calls that work

TEST_F(SecureIpc, ARequestGoesToItsHandlerAndTheReplyComesBack) {
  CkxSecureIpcServer server;
  const auto answer = [](unsigned char by) {
    return [by](const SkxSecureIpcCaller&, std::span<const unsigned char> body, KxBytes& reply) {
      reply.assign(body.begin(), body.end());
      reply.push_back(by);
      return true;
    };
  };
  server.Handle(KXW("A"), 6, answer(1));
  server.Handle(KXW("A"), 4, answer(2));
  server.Handle(KXW("B"), 6, answer(3));
  server.Handle(KXW("fails"), 6, [](auto&, auto, KxBytes& reply) { return reply.push_back(1), false; });
  server.Handle(KXW("large"), 6, [](auto&, auto, KxBytes& reply) { return reply.resize(16 * 1024 * 1024), true; });
  server.Handle(KXW("too large"), 6,
                [](auto&, auto, KxBytes& reply) { return reply.resize(16 * 1024 * 1024 + 1), true; });
  ASSERT_TRUE(server.Start(_name));

  const struct {
    const WCHAR* request;
    uint32_t channel;
    Result result;
    EkxReplyStatus status;
    KxBytes reply;
  } kCases[] = {
      {KXW("A"), 6, Result::Done, EkxReplyStatus::Answered, {1, 2, 3, 1}},
      {KXW("A"), 4, Result::Done, EkxReplyStatus::Answered, {1, 2, 3, 2}},
      {KXW("B"), 6, Result::Done, EkxReplyStatus::Answered, {1, 2, 3, 3}},
      {KXW("B"), 4, Result::Refused, EkxReplyStatus::NoSuchRequest, {}},
      {KXW("a"), 6, Result::Refused, EkxReplyStatus::NoSuchRequest, {}},
      {KXW("fails"), 6, Result::Refused, EkxReplyStatus::Failed, {}},
      {KXW("large"), 6, Result::Done, EkxReplyStatus::Answered, KxBytes(16 * 1024 * 1024)},
      {KXW("too large"), 6, Result::Refused, EkxReplyStatus::Failed, {}},
  };
  CkxSecureIpcClient client;
  for (const auto& test : kCases) {
    SCOPED_TRACE(testing::Message() << "channel " << test.channel << ", case " << (&test - kCases));
    ASSERT_EQ(client.Open({_name, {}, test.request, test.channel, {}, {}}, kLong), Result::Done);
    ASSERT_EQ(client.Send(kBody), Result::Done);
    KxBytes reply;
    EXPECT_EQ(client.Receive(reply), test.result);
    EXPECT_EQ(client.Status(), test.status);
    EXPECT_TRUE(reply == test.reply);
  }
}

TEST_F(SecureIpc, AHandlerIsToldWhoAsks) {
  CkxSecureIpcServer server;
  std::string user;
  KxWString name, image, signer;
  std::atomic<uint32_t> processId = 0;
  server.Handle(_request.requestName, 6, [&](const SkxSecureIpcCaller& caller, auto, auto&) {
    user = caller.peer.user.ToUtf8();
    name = caller.name.ToString();
    image = caller.claim.image.ToString();
    signer = caller.claim.signer.ToString();
    processId = caller.peer.processId;
    return true;
  });
  ASSERT_TRUE(server.Start(_name));
  KxBytes reply = {9};
  ASSERT_EQ(Call(_request, {}, reply), Result::Done);
  EXPECT_TRUE(reply.empty());
  EXPECT_EQ(processId, KxTest_ProcessId());
  EXPECT_EQ(user, KxToken_User(nullptr)->ToUtf8());
  EXPECT_TRUE(name == KXW("Cli") && image == KXW("Img") && signer == KXW("Sgn"));
}

TEST_F(SecureIpc, SeveralClientsAreServedAtOnce) {
  constexpr int kClients = 4;
  CkxSecureIpcServer server;
  std::atomic<int> inside = 0;
  server.Handle(_request.requestName, 6, [&](auto& caller, auto body, auto& reply) {
    const CkxDeadline end = Long();
    for (++inside; inside != kClients && !end.IsOver();) std::this_thread::yield();
    return inside == kClients && Echo(caller, body, reply);
  });
  ASSERT_TRUE(server.Start(_name, {.clients = size_t{kClients}}));
  EXPECT_EQ(AnsweredOf(kClients, kClients, _request), kClients);
}

TEST_F(SecureIpc, TheLongestRequestIsSentAndNoLongerOne) {
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, Echo);
  ASSERT_TRUE(server.Start(_name));
  KxBytes reply;
  EXPECT_EQ(Call(_request, KxBytes(64 * 1024, 7), reply), Result::Done);
  EXPECT_TRUE(reply == KxBytes(64 * 1024, 7));
  EXPECT_EQ(Call(_request, KxBytes(64 * 1024 + 1), reply), Result::CannotSend);
}

// ---- servers that fail their clients

TEST_F(SecureIpc, NobodyServes) {
  CkxSecureIpcClient client;
  KxBytes reply;
  EXPECT_EQ(client.Send(kBody), Result::CannotSend) << "not open";
  EXPECT_EQ(client.Receive(reply), Result::BadReply);
  KxLastError_Set(kKxErrorSuccess);
  EXPECT_EQ(client.Open(_request, kLong), Result::CannotConnect);
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  for (const KxWString& name :
       {KxWString(), KxWString(65, KXW('n')), KxWString(22, KXW('.')), KxWString(1, WCHAR{0})}) {
    EXPECT_EQ(client.Open({name, {}, KXW("A"), 6, {}, {}}, kLong), Result::CannotConnect) << name.size();
    EXPECT_NE(KxLastError_Get(), kKxErrorFileNotFound) << "a fault, and not an absent server";
    EXPECT_FALSE(CkxSecureIpcServer().Start(name)) << name.size();
  }
}

/// One time-out is for all of a call.
TEST_F(SecureIpc, AWaitForAReplyEndsInTime) {
  const struct {
    const char* name;
    void (*behaviour)(CkxSecurePipe&);
    uint32_t pause;  // before the request is sent
  } kCases[] = {
      {"accepts and says nothing", [](CkxSecurePipe& pipe) { ReadAll(pipe); }, kShort / 2},
      {"a byte now and then",
       [](CkxSecurePipe& pipe) {
         size_t count = 0;
         unsigned char request[4096];
         pipe.Read(request, Long(), count);
         pipe.Write(KxBytes{'K', 'X', 'R', 'P', 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0}, Long());
         while (pipe.Read(request, CkxDeadline::After(20), count) == EkxPipeResult::TimedOut) {
           if (pipe.Write(KxBytes{0}, Long()) != EkxPipeResult::Done) return;
         }
       },
       0},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const CkxRawServer server(_name, test.behaviour);
    ExpectTakes(kShort, Result::TimedOut, [&] {
      CkxSecureIpcClient client;
      EXPECT_EQ(client.Open(_request, kShort), Result::Done);
      std::this_thread::sleep_for(std::chrono::milliseconds(test.pause));
      EXPECT_EQ(client.Send(kBody), Result::Done);
      KxBytes reply;
      return client.Receive(reply);
    });
    EXPECT_EQ(KxLastError_Get(), 1460u);
  }
}

TEST_F(SecureIpc, AWaitForAServerThatAcceptsNobodyEndsInTime) {
  CkxSecurePipeListener listener;
  ASSERT_TRUE(listener.Listen(_name));
  CkxSecurePipe unread;
  ASSERT_EQ(KxSecurePipe_Connect(_name, {}, Long(), unread), EkxPipeResult::Done);
  ExpectTakes(kShort, EkxPipeResult::TimedOut,
              [&] { return unread.Write(KxBytes(4 * 1024 * 1024), CkxDeadline::After(kShort)); });

  std::list<CkxSecureIpcClient> kept;
  Result result = Result::Done;
  while (result == Result::Done && kept.size() < 1000) result = kept.emplace_back().Open(_request, kShort);
  ExpectTakes(kShort, Result::TimedOut, [&] { return CkxSecureIpcClient().Open(_request, kShort); });
}

TEST_F(SecureIpc, RepliesThatAreNone) {
  const struct {
    const char* name;
    KxBytes reply;
    bool stays;  // the server keeps the channel open, so that the bytes alone must tell
    Result result = Result::BadReply;
  } kCases[] = {
      {"closes", {}, false, Result::TurnedAway},
      {"six bytes", {'K', 'X', 'R', 'P', 1, 0}, false},
      {"six other bytes", {'H', 'T', 'T', 'P', '/', '1'}, true},
      {"half of a reply", {'K', 'X', 'R', 'P', 1, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1, 2, 3}, false},
      {"3 GiB", {'K', 'X', 'R', 'P', 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xC0}, true},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.name);
    const CkxRawServer server(_name, [&](CkxSecurePipe& pipe) {
      unsigned char request[4096];
      size_t count = 0;
      pipe.Read(request, Long(), count);
      pipe.Write(test.reply, Long());
      if (test.stays) ReadAll(pipe);
    });
    KxBytes reply = {9};
    EXPECT_EQ(Call(_request, kBody, reply), test.result);
    EXPECT_EQ(reply, KxBytes{9}) << "left as it was";
  }
}

TEST_F(SecureIpc, TheServerIsTheExpectedOneOrHearsNothing) {
  const CkxKnownProgram known(KxTest_ProcessId(), KXW("C:\\KxAgent.exe"), {});
  for (const auto& [image, result] : {std::pair(KXW("KxAgent"), Result::Done), {KXW("Agent"), Result::WrongPeer}}) {
    std::atomic<size_t> heard = 0;
    const CkxRawServer server(_name, [&](CkxSecurePipe& pipe) {
      size_t count = 0;
      unsigned char bytes[4096];
      if (pipe.Read(bytes, Long(), count) == EkxPipeResult::Done) heard += count;
    });
    CkxSecureIpcClient client;
    SkxSecureIpcRequest request = _request;
    request.server.expected.image = image;
    EXPECT_EQ(client.Open(request, kLong), result);
    EXPECT_EQ(client.Send(kBody), result == Result::Done ? Result::Done : Result::CannotSend);
    KxBytes reply;
    EXPECT_EQ(client.Receive(reply), result == Result::Done ? Result::TurnedAway : Result::BadReply);
    // One client after the other: when this one has been heard, so has the one before.
    CkxSecurePipe last = Connect(_name, {1});
    ReadAll(last);
    EXPECT_EQ(heard > 1, result == Result::Done);
  }
}

// ---- clients that fail their server

/// What the client reads that has sent these bytes.
EkxPipeResult ReadAfter(const KxWString& name, const KxBytes& bytes, uint32_t timeout) {
  CkxSecurePipe pipe = Connect(name, bytes);
  unsigned char reply[16];
  size_t count = 0;
  return pipe.Read(reply, CkxDeadline::After(timeout), count);
}

TEST_F(SecureIpc, AMalformedRequestIsCutOffAtOnce) {
  CkxSecureIpcServer server;
  ASSERT_TRUE(server.Start(_name, {.requestTimeout = kLong}));
  for (const KxBytes& bytes : {Claim(), KxBytes{'G'}}) {
    EXPECT_EQ(ReadAfter(_name, bytes, kLong / 2), EkxPipeResult::Closed);
  }
}

TEST_F(SecureIpc, ASlowClientIsCutOffInTime) {
  CkxSecureIpcServer server;
  ASSERT_TRUE(server.Start(_name, {.requestTimeout = kShort}));
  for (const KxBytes& bytes : {KxBytes(), HalfAFrame()}) {
    ExpectTakes(kShort, EkxPipeResult::Closed, [&] { return ReadAfter(_name, bytes, kLong); });
  }
}

TEST_F(SecureIpc, SilentClientsBlockNobody) {
  constexpr size_t kClients = 3;
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, Echo);
  server.Handle(KXW("large"), 6, [](auto&, auto, KxBytes& reply) { return reply.resize(4 * 1024 * 1024), true; });
  ASSERT_TRUE(
      server.Start(_name, {.clients = kClients, .requestTimeout = kLong, .replyTimeout = kLong, .patience = 20}));
  const KxBytes neverTaken = *KxFrame_Bytes(SkxRequestFrame{6, KXW("large"), {}, {}, {}});
  const KxBytes kinds[] = {KxBytes(), HalfAFrame(), neverTaken};
  std::vector<CkxSecurePipe> silent;
  for (int round = 0; round < 4; ++round) {
    for (const KxBytes& bytes : kinds) silent.push_back(Connect(_name, bytes));
    KxBytes reply;
    EXPECT_EQ(Call(_request, kBody, reply, kLong / 2), Result::Done) << round;
    EXPECT_EQ(reply, kBody);
  }
}

TEST_F(SecureIpc, ARequestThatRunsOutOfMemoryIsRefusedAndTheServerGoesOn) {
  CkxSecureIpcServer server;
  server.Handle(KXW("starves"), 6, [](auto&, auto, auto&) -> bool { throw std::bad_alloc(); });
  server.Handle(_request.requestName, 6, Echo);
  ASSERT_TRUE(server.Start(_name, {.clients = 1}));
  SkxSecureIpcRequest starves = _request;
  starves.requestName = KXW("starves");
  for (int i = 0; i < 3; ++i) {
    KxBytes reply;
    EXPECT_EQ(Call(starves, kBody, reply), Result::Refused);
    EXPECT_EQ(Call(_request, kBody, reply), Result::Done);
  }
}

/// A handler that works until it is told that nobody waits any more.
bool Labour(const SkxSecureIpcCaller& caller, std::span<const unsigned char>, KxBytes&) {
  const CkxDeadline end = Long();
  while (!caller.cancel.IsOver() && !end.IsOver()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return false;
}

TEST_F(SecureIpc, AnAnswerHasItsTime) {
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, Labour);
  ASSERT_TRUE(server.Start(_name, {.handlerTimeout = kShort}));
  KxBytes reply;
  ExpectTakes(kShort, Result::Refused, [&] { return Call(_request, kBody, reply); });
}

// ---- the server's life

TEST_F(SecureIpc, StoppingEndsTheWorkForThoseWhoAsked) {
  CkxSecureIpcServer server;
  std::atomic<bool> atWork = false;
  server.Handle(_request.requestName, 6, [&](auto& caller, auto body, auto& reply) {
    atWork = true;
    return Labour(caller, body, reply);
  });
  ASSERT_TRUE(server.Start(_name, {.handlerTimeout = kLong}));
  CkxSecurePipe asks = Connect(_name, *KxFrame_Bytes(SkxRequestFrame{6, _request.requestName, {}, {}, kBody}));
  while (!atWork) std::this_thread::yield();
  const auto begin = std::chrono::steady_clock::now();
  server.Stop();
  server.Wait();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(kLong / 10));
}

TEST_F(SecureIpc, StoppingCutsOffWhoeverIsConnected) {
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, [&](auto&, auto, auto&) {
    server.Stop();  // also from in here
    return true;
  });
  ASSERT_TRUE(server.Start(_name, {.requestTimeout = kLong}));
  EXPECT_FALSE(server.Start(_name)) << "runs already";
  CkxSecurePipe silent = Connect(_name, {});
  CkxSecurePipe half = Connect(_name, HalfAFrame());
  KxBytes reply;
  ASSERT_EQ(Call(_request, kBody, reply), Result::TurnedAway);
  const auto begin = std::chrono::steady_clock::now();
  server.Wait();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(kLong / 10));
  EXPECT_EQ(ReadAll(silent) + ReadAll(half), 0u);
  EXPECT_EQ(Call(_request, kBody, reply), Result::CannotConnect) << "the name is gone";
}

TEST_F(SecureIpc, StartingAndStoppingLeaksNothing) {
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, Echo);
  size_t handles = 0;
  for (int round = 0; round <= 50; ++round) {
    if (round == 1) handles = KxTest_OpenHandles();  // the first may load what stays
    ASSERT_TRUE(server.Start(_name, {.clients = 4}));
    KxBytes reply;
    EXPECT_EQ(Call(_request, kBody, reply), Result::Done);
    server.Stop();
    server.Wait();
  }
  EXPECT_EQ(KxTest_OpenHandles(), handles);
}

TEST_F(SecureIpc, TenThousandRequestsLeakNothing) {
  constexpr int kThreads = 4;
  CkxSecureIpcServer server;
  server.Handle(_request.requestName, 6, Echo);
  ASSERT_TRUE(server.Start(_name, {.clients = 2 * kThreads}));
  ASSERT_EQ(AnsweredOf(100, kThreads, _request), 100);
  const size_t handles = KxTest_OpenHandles();
  EXPECT_EQ(AnsweredOf(10000, kThreads, _request), 10000);
  // Both times the server may still be at closing its last connections.
  EXPECT_NEAR(static_cast<double>(KxTest_OpenHandles()), static_cast<double>(handles), 4 * kThreads);
}

}  // namespace
