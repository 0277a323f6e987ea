// The agent's side of `CkxSecureIpcClient`: answers requests by name and channel.
//
//   CkxSecureIpcServer server;
//   server.Handle(KXW("HANDLER_APPLICABLE_POLICIES"), 6, [&](auto& caller, auto body, auto& reply) {
//     return policies.ListFor(body, reply);
//   });
//   if (server.Start(KXW("applicablePoliciesSer"))) server.Wait();   // until another thread calls Stop
//
// A bounded number of threads serves as many clients at once, each with one request that has to arrive, one handler
// that has to answer and one reply that has to be taken, within the time-outs. Places are shared out by account
// (client_places.h): clients of one account wait for each other, and no other account waits for them. A client that
// keeps the server waiting while others wait for its place loses it as soon as patience with it is over. Clients beyond
// those that may wait are let go at once. So an account costs at most its share of the threads, and a connection for
// each that waits. Malformed requests are not answered.
//
// No failure ends the server: a request for which there is no memory is refused, a client who cannot be taken in now
// waits, and a thread that cannot be made is tried again for the next client.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "Common_CPP/secure_ipc/client_places.h"
#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/util/cancel.h"

/// Whose request it is. The name, and which program it is, are only what the client calls itself. All live for the
/// call.
struct SkxSecureIpcCaller {
  SkxPipePeer peer;
  CkxTextView name;
  SkxClientClaim claim;
  const CkxSecurePipe& pipe;  ///< to act as the client (`CkxActAsClient`)
  const CkxCancel& cancel;    ///< over when the time for the answer is, or the server stops: nobody waits any more
};

/// Answers one request: fills `reply`, which is empty, with at most 16 MiB and returns true, or returns false. Runs on
/// one of the server's threads, several at once. It may run out of memory, which is false, and throws nothing else.
using KxSecureIpcHandler = std::function<bool(const SkxSecureIpcCaller& caller, std::span<const unsigned char> body,
                                              std::vector<unsigned char>& reply)>;

struct SkxSecureIpcLimits {
  size_t clients = 16;             ///< served at once; at least 1
  size_t clientsOfAccount = 4;     ///< of these, of one account
  size_t waitingOfAccount = 64;    ///< clients of one account beside those
  uint32_t requestTimeout = 5000;  ///< milliseconds from the place to the request's last byte
  uint32_t handlerTimeout = 8000;  ///< milliseconds for the handler, less than any client waits
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

  /// Asks the server to stop, and returns at once: nobody is accepted any more, what its clients wait for is cut off,
  /// and its handlers' `cancel` is over. From any thread, also a handler's, any number of times; not from a signal
  /// handler.
  void Stop();

  /// Returns once the server has stopped and its name is free. By the owner alone, and not from a handler.
  void Wait();

 private:
  struct Handler {
    KxWString requestName;
    uint32_t channel;
    KxSecureIpcHandler answer;
  };
  struct Client {
    CkxSecurePipe pipe;
    CkxCancel* answering = nullptr;  // while its handler runs; guarded by `_mutex`
  };
  using Places = CkxClientPlaces<Client>;

  void Accept();
  void Admit(std::unique_ptr<Client> client);
  void MakeWorker();
  void Work();
  void MakeWay();
  void Pause();
  void SetWaitedFor(Places::Place& place, bool isWaitedFor, CkxCancel* answering);
  void Answer(Places::Place& place);
  std::optional<std::vector<unsigned char>> ReplyTo(Places::Place& place, const SkxRequestFrame& request);
  EkxReplyStatus Ask(const Client& client, const SkxRequestFrame& request, const CkxCancel& cancel,
                     std::vector<unsigned char>& body) const;

  std::vector<Handler> _handlers;
  SkxSecureIpcLimits _limits;
  std::vector<std::thread> _threads;  // the one that accepts, and the one that makes way
  std::vector<std::thread> _workers;  // made by the one that accepts

  std::mutex _mutex;  // guards what follows
  std::condition_variable _work;
  std::condition_variable _changed;  // somebody waits, and what stands in the way may be another
  std::unique_ptr<CkxSecurePipeListener> _listener;
  std::optional<Places> _places;
  size_t _idle = 0;  // workers
  bool _stopping = false;
};
