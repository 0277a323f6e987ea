// One request to the agent's service, and its reply.
//
//   CkxSecureIpcClient client;
//   const SkxSecureIpcRequest request = {.serverName = KXW("applicablePoliciesSer"),
//                                        .clientName = KXW("applicablePoliciesSerCli"),
//                                        .requestName = KXW("HANDLER_APPLICABLE_POLICIES"),
//                                        .channel = 6};
//   if (client.Open(request, 30000) != EkxSecureIpcResult::Done) ...
//   if (client.Send(body) != EkxSecureIpcResult::Done) ...
//   if (client.Receive(reply) != EkxSecureIpcResult::Done) ...
//
// The time-out is milliseconds from `Open` on, for all three together, whatever is waited for. After any result but
// `Done` the client is closed. One thread uses a client at a time. The thread's last error tells more, as for the
// channel below.
#pragma once

#include "Common_CPP/secure_ipc/frame.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

enum class EkxSecureIpcResult : unsigned char {
  Done,
  CannotConnect,  ///< no such server, or no way to it
  WrongPeer,      ///< somebody else serves under that name; it was told nothing
  CannotSend,     ///< too long a body or name
  TurnedAway,  ///< the server closed the channel without a word: it has too many clients, or does not know the request
  TimedOut,
  BadReply,  ///< malformed, or the server closed the channel before the end of it
  Refused,   ///< by the server, which is well: see `Status`
};

/// Whom to ask, and what. Texts are copied where they are kept.
struct SkxSecureIpcRequest {
  CkxTextView serverName;   ///< the channel's name, see secure_named_pipe.h
  CkxTextView clientName;   ///< what the caller calls itself; the server is told
  CkxTextView requestName;  ///< with `channel`, which handler is meant
  uint32_t channel = 0;
  SkxClientClaim claim;   ///< which program the caller says that it is; the server is told that too
  SkxPipeOptions server;  ///< what is expected of the server, and what it may do
};

class CkxSecureIpcClient {
 public:
  /// Connects, and makes sure of the server.
  EkxSecureIpcResult Open(const SkxSecureIpcRequest& request, uint32_t timeout);

  /// Sends the request with `body`, at most 64 KiB. Once an open client.
  EkxSecureIpcResult Send(std::span<const unsigned char> body);

  /// Waits for the reply, which ends the call: the client is closed afterwards. `reply` gets its body, at most 16 MiB,
  /// and is left as it was unless the result is `Done`.
  EkxSecureIpcResult Receive(std::vector<unsigned char>& reply);

  /// Why the server refused.
  EkxReplyStatus Status() const { return _status; }

  void Close() { _pipe.Close(); }

 private:
  EkxSecureIpcResult Fail(EkxSecureIpcResult result);

  CkxSecurePipe _pipe;
  CkxDeadline _deadline = CkxDeadline::After(0);
  KxWString _clientName;
  KxWString _requestName;
  KxWString _image;
  KxWString _signer;
  uint32_t _channel = 0;
  EkxReplyStatus _status = EkxReplyStatus::Answered;
};
