// A byte channel between processes of this machine. Each end knows who is at the other, and every wait has an end.
//
//   CkxSecurePipe pipe;
//   if (KxSecurePipe_Connect(KXW("name"), {}, deadline, pipe) == EkxPipeResult::Done) pipe.Write(bytes, deadline);
//
// Windows: named pipes in byte mode, KxPipe.NAME, out of reach for other machines: under
// \\.\pipe\ProtectedPrefix\Administrators\, where only administrators and the system can make one, and in \\.\pipe\ for
// a server that is neither, where a client looks last. A server learns who its client is, and can act as it where that
// lets it. Elsewhere: local sockets, NAME.sock in the runtime folder, which must be as trustworthy as for sections;
// NAME.lock beside it, which stays, keeps a second server off. Anyone on this machine may connect. NAME is the given
// name with every byte of its UTF-8 form but letters, digits, '_' and '-' as %XX, at most 64 bytes in all. Names that
// differ only in case may be one.
//
// Whatever fails leaves the thread's last error: 2 when there is no such server, 109 for a closed channel, 1460 for a
// deadline that is over.
#pragma once

#include <memory>
#include <span>

#include "Common_CPP/secure_named_pipe/peer_identity.h"
#include "Common_CPP/util/deadline.h"
#include "Common_CPP/util/text_view.h"

enum class EkxPipeResult : unsigned char {
  Done,
  TimedOut,
  Closed,     ///< by the peer, or canceled here
  WrongPeer,  ///< the server is not the expected one; nothing was sent to it
  Failed,
};

/// How a client connects.
struct SkxPipeOptions {
  SkxExpectedPeer expected;  ///< besides a user and an integrity that may be the agent's

  /// The server may open files as this thread's user. On Windows only one under the protected prefix gets that right;
  /// elsewhere root has it anyway.
  bool letsActAsUs = false;
};

/// One end of a connected channel, closed when it goes. Movable, not copyable. One thread uses it at a time; what the
/// peer has written before it closed its end is still read.
class CkxSecurePipe {
 public:
  struct State;  // one a platform

  CkxSecurePipe();
  explicit CkxSecurePipe(std::unique_ptr<State> state);
  CkxSecurePipe(CkxSecurePipe&&) noexcept;
  CkxSecurePipe& operator=(CkxSecurePipe&&) noexcept;
  ~CkxSecurePipe();

  bool IsOpen() const { return _state != nullptr; }
  void Close();

  /// Reads at least one byte and at most all of `bytes`; `count` tells how many.
  EkxPipeResult Read(std::span<unsigned char> bytes, CkxDeadline deadline, size_t& count);

  /// Writes all of `bytes`. After any other result than `Done` the peer may have a part of them.
  EkxPipeResult Write(std::span<const unsigned char> bytes, CkxDeadline deadline);

  /// Who is at the other end; nothing when that cannot be told. On Windows a server must have read from the client
  /// before.
  std::optional<SkxPipePeer> Peer() const;

  /// A server's: the account that its client's process runs as, from the connection on. To keep accounts apart; it
  /// proves nothing that is asked in the client's name.
  std::optional<CkxSid> ClientAccount() const;

  /// A server's, once it has read from its client: whether that may tell this server what to do. The system may, who
  /// runs as an administrator just now, and the account that the server runs as, with no less integrity. No other
  /// service may, and no administrator's process without the rights of one.
  bool ClientMayAdminister() const;

  /// Ends every wait on this pipe, now and later, with `Closed`. From any thread, while nobody closes or moves it.
  void Cancel();

 private:
  friend class CkxActAsClient;
  std::unique_ptr<State> _state;
};

/// A server's: while it lives, the calling thread opens files with the rights of the pipe's client and no others.
class CkxActAsClient {
 public:
  explicit CkxActAsClient(const CkxSecurePipe& pipe);
  ~CkxActAsClient();
  CkxActAsClient(const CkxActAsClient&) = delete;
  CkxActAsClient& operator=(const CkxActAsClient&) = delete;

  /// False when the client does not let it, or the server cannot: then nothing must be opened.
  explicit operator bool() const { return _may; }

 private:
  struct State;  // one a platform
  std::unique_ptr<State> _before;
  [[maybe_unused]] bool _isActing = false;
  bool _may = false;
};

/// Connects to the server of `name`, waiting while it is busy, and makes sure that it may be the agent, and is the
/// program that `options` expect.
EkxPipeResult KxSecurePipe_Connect(CkxTextView name, const SkxPipeOptions& options, CkxDeadline deadline,
                                   CkxSecurePipe& pipe);

/// The server's side of a name, which is its own until it is closed.
class CkxSecurePipeListener {
 public:
  CkxSecurePipeListener();
  ~CkxSecurePipeListener();
  CkxSecurePipeListener(const CkxSecurePipeListener&) = delete;
  CkxSecurePipeListener& operator=(const CkxSecurePipeListener&) = delete;

  /// False with the thread's last error set when the name is no name or somebody else's. Once a listener.
  bool Listen(CkxTextView name);

  /// Waits for the next client. False once `Stop` was called. One thread at a time. A fault of the system (no
  /// descriptors left, say) is traced and waited out.
  bool Accept(CkxSecurePipe& pipe);

  /// Ends `Accept`, now and later. From any thread.
  void Stop();

 private:
  struct State;
  std::unique_ptr<State> _state;
};
