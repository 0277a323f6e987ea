// The agent's side of `CkxSecureIpcClient`: answers requests by name and channel.
//
//   CkxSecureIpcServer server;
//   server.Handle(KXW("HANDLER_APPLICABLE_POLICIES"), 6, [&](auto& caller, auto body, auto& reply) {
//     return policies.ListFor(body, reply);
//   });
//   if (server.Start(KXW("applicablePoliciesSer"))) server.Wait();   // until another thread calls Stop
//
// A fixed number of threads serves as many clients at once, each with one request that has to arrive, and one reply
// that has to be taken, within the time-outs. A client that keeps the server waiting blocks nobody: when all places are
// taken and somebody else comes, the one that was waited for longest loses its place as soon as patience with it is
// over. So a client costs at most a thread, a request's bytes and a reply's, for the time-outs. Malformed requests are
// not answered.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

/// Whose request it is. The name is only what the client calls itself.
struct SkxSecureIpcCaller {
  SkxPipePeer peer;
  CkxTextView name;  ///< lives for the call
};

/// Answers one request: fills `reply`, which is empty, with at most 16 MiB and returns true, or returns false. Runs on
/// one of the server's threads, several at once; must not throw, and is not interrupted when the server stops.
using KxSecureIpcHandler = std::function<bool(const SkxSecureIpcCaller& caller, std::span<const unsigned char> body,
                                              std::vector<unsigned char>& reply)>;

struct SkxSecureIpcLimits {
  size_t clients = 16;             ///< served at once; at least 1
  uint32_t requestTimeout = 5000;  ///< milliseconds from the connection to the request's last byte
  uint32_t replyTimeout = 5000;    ///< milliseconds for the client to take the reply
  uint32_t patience = 250;         ///< milliseconds that a client may keep its place while it is waited for
};

class CkxSecureIpcServer {
 public:
  CkxSecureIpcServer() = default;
  ~CkxSecureIpcServer();
  CkxSecureIpcServer(const CkxSecureIpcServer&) = delete;
  CkxSecureIpcServer& operator=(const CkxSecureIpcServer&) = delete;

  /// Only while the server is not running. The first handler of a name and channel counts.
  void Handle(CkxTextView requestName, uint32_t channel, KxSecureIpcHandler handler);

  /// False with the thread's last error set: the name is no name or somebody else's, or no threads are left. Again only
  /// after `Wait`.
  bool Start(CkxTextView serverName, const SkxSecureIpcLimits& limits = {});

  /// Asks the server to stop, and returns at once: nobody is accepted any more, and what its clients wait for is cut
  /// off. From any thread, also a handler's, any number of times; not from a signal handler.
  void Stop();

  /// Returns once the server has stopped and its name is free. By the owner alone, and not from a handler.
  void Wait();

 private:
  struct Handler {
    KxWString requestName;
    uint32_t channel;
    KxSecureIpcHandler answer;
  };
  using Clock = std::chrono::steady_clock;
  struct Client {
    CkxSecurePipe pipe;
    std::optional<Clock::time_point> waitedForSince;  // not while its request is answered; guarded by `_mutex`
  };

  void Serve();
  bool Accept(Client& client);
  void Release(Client& client);
  void MakePlace(std::unique_lock<std::mutex>& lock);
  Client* LongestWaitedFor();
  void SetWaitedFor(Client& client, bool isWaitedFor);
  void Answer(Client& client);
  SkxReplyFrame Reply(const Client& client, const SkxRequestFrame& request, std::vector<unsigned char>& body) const;

  std::vector<Handler> _handlers;
  SkxSecureIpcLimits _limits;
  std::vector<std::thread> _threads;
  std::mutex _turn;  // whose it is to accept

  std::mutex _mutex;  // guards what follows
  std::condition_variable _changed;
  std::unique_ptr<CkxSecurePipeListener> _listener;
  std::vector<Client*> _clients;
  bool _stopping = false;
};
