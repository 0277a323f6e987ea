#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

#include <poll.h>
#include <sys/socket.h>

#include "Common_CPP/access_token/account_posix.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/secure_named_pipe/socket_posix.h"
#include "Common_CPP/util/last_error.h"

namespace {

EkxPipeResult Fail(EkxPipeResult result, int error) {
  errno = error;
  KxLastError_SetFromSystem();
  return result;
}

/// `errno` of a call on a connected socket.
EkxPipeResult Fault() {
  const bool closed = errno == EPIPE || errno == ECONNRESET;
  return closed ? Fail(EkxPipeResult::Closed, EPIPE) : Fail(EkxPipeResult::Failed, errno);
}

/// Lets the system wait in `connect`, which for local sockets is only possible as a wait for sending.
bool SetConnectTimeout(int socket, uint32_t milliseconds) {
  timeval time{};
  time.tv_sec = static_cast<time_t>(milliseconds / 1000);
  time.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
  return setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time)) == 0;
}

}  // namespace

struct CkxSecurePipe::State {
  CkxDescriptor socket;  // never blocks

  /// Makes one attempt after the other until it says something else than "not yet", and waits in between.
  template <class Attempt>
  EkxPipeResult Try(short event, CkxDeadline deadline, const Attempt& attempt, size_t& count) const {
    for (;;) {
      const uint32_t left = deadline.Remaining();
      if (left == 0) return Fail(EkxPipeResult::TimedOut, ETIMEDOUT);
      const ssize_t done = attempt(socket.Get());
      if (done >= 0) {
        count = static_cast<size_t>(done);
        return EkxPipeResult::Done;
      }
      if (errno == EAGAIN) {
        pollfd wait{socket.Get(), event, 0};
        if (poll(&wait, 1, static_cast<int>(left)) >= 0) continue;
      }
      if (errno != EINTR) return Fault();
    }
  }
};

CkxSecurePipe::CkxSecurePipe() = default;
CkxSecurePipe::CkxSecurePipe(std::unique_ptr<State> state) : _state(std::move(state)) {}
CkxSecurePipe::CkxSecurePipe(CkxSecurePipe&&) noexcept = default;
CkxSecurePipe& CkxSecurePipe::operator=(CkxSecurePipe&&) noexcept = default;
CkxSecurePipe::~CkxSecurePipe() = default;
void CkxSecurePipe::Close() { _state.reset(); }

EkxPipeResult CkxSecurePipe::Read(std::span<unsigned char> bytes, CkxDeadline deadline, size_t& count) {
  if (!IsOpen() || bytes.empty()) return Fail(EkxPipeResult::Failed, EINVAL);
  const auto receive = [&](int socket) { return recv(socket, bytes.data(), bytes.size(), 0); };
  const EkxPipeResult result = _state->Try(POLLIN, deadline, receive, count);
  return result == EkxPipeResult::Done && count == 0 ? Fail(EkxPipeResult::Closed, EPIPE) : result;
}

EkxPipeResult CkxSecurePipe::Write(std::span<const unsigned char> bytes, CkxDeadline deadline) {
  if (!IsOpen()) return Fail(EkxPipeResult::Failed, EINVAL);
  while (!bytes.empty()) {
    size_t count = 0;
    const auto push = [&](int socket) { return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); };
    const EkxPipeResult result = _state->Try(POLLOUT, deadline, push, count);
    if (result != EkxPipeResult::Done) return result;
    bytes = bytes.subspan(count);
  }
  return EkxPipeResult::Done;
}

std::optional<SkxPipePeer> CkxSecurePipe::Peer() const {
  ucred credentials{};
  socklen_t size = sizeof(credentials);
  if (!IsOpen() || getsockopt(_state->socket.Get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
    KxLastError_SetFromSystem();
    return std::nullopt;
  }
  return SkxPipePeer{KxPosixAccount_UserSid(credentials.uid), static_cast<uint32_t>(credentials.pid)};
}

void CkxSecurePipe::Cancel() {
  if (IsOpen()) shutdown(_state->socket.Get(), SHUT_RDWR);
}

CkxSecurePipe KxSocket_ToPipe(CkxDescriptor socket) {
  return CkxSecurePipe(std::make_unique<CkxSecurePipe::State>(CkxSecurePipe::State{std::move(socket)}));
}

EkxPipeResult KxPipe_ConnectUnchecked(const std::string& encodedName, CkxDeadline deadline, CkxSecurePipe& pipe) {
  const CkxDescriptor folder = KxPosix_OpenRuntimeFolder(false);
  CkxDescriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!folder || !connection) return Fail(EkxPipeResult::Failed, errno);
  const CkxSocketAddress address(folder, encodedName);
  for (;;) {
    const uint32_t left = deadline.Remaining();
    if (left == 0) return Fail(EkxPipeResult::TimedOut, ETIMEDOUT);
    if (!SetConnectTimeout(connection.Get(), left)) return Fail(EkxPipeResult::Failed, errno);
    if (connect(connection.Get(), address.Get(), address.Size()) == 0) break;
    if (errno == ECONNREFUSED) return Fail(EkxPipeResult::Failed, ENOENT);  // left behind by a server that is gone
    if (errno != EINTR && errno != EAGAIN) return Fail(EkxPipeResult::Failed, errno);
  }
  if (!KxSocket_SetNonBlocking(connection.Get())) return Fail(EkxPipeResult::Failed, errno);
  pipe = KxSocket_ToPipe(std::move(connection));
  return EkxPipeResult::Done;
}
