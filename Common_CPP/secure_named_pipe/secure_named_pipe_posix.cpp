#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

#include <poll.h>
#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <exception>
#include <vector>

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

std::vector<gid_t> OwnGroups() {
  std::vector<gid_t> groups(static_cast<size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  groups.resize(static_cast<size_t>(std::max(count, 0)));
  return groups;
}

/// Beside its first one.
std::optional<std::vector<gid_t>> GroupsOf(int socket) {
  std::vector<gid_t> groups(64);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    const int result = getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    const size_t count = size / sizeof(gid_t);
    if (result != 0 && (errno != ERANGE || count <= groups.size())) return std::nullopt;
    groups.resize(count);
    if (result == 0) return groups;
  }
}

bool SetThreadGroups(const std::vector<gid_t>& groups) {
  return syscall(SYS_setgroups, groups.size(), groups.data()) == 0;
}

/// The calls tell what was before, and so, called again, what is.
bool SetThreadFileUser(uid_t user, gid_t group) {
  constexpr auto kNobody = static_cast<uint32_t>(-1);
  setfsgid(group);
  setfsuid(user);
  return static_cast<gid_t>(setfsgid(kNobody)) == group && static_cast<uid_t>(setfsuid(kNobody)) == user;
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
  return SkxPipePeer{KxPosixAccount_UserSid(credentials.uid), static_cast<uint32_t>(credentials.pid), std::nullopt};
}

std::optional<CkxSid> CkxSecurePipe::ClientAccount() const {
  const std::optional<SkxPipePeer> peer = Peer();
  return peer ? std::optional(peer->user) : std::nullopt;
}

bool CkxSecurePipe::ClientMayAdminister() const {
  ucred client{};
  socklen_t size = sizeof(client);
  return IsOpen() && getsockopt(_state->socket.Get(), SOL_SOCKET, SO_PEERCRED, &client, &size) == 0 &&
         (client.uid == 0 || client.uid == geteuid());
}

/// What the thread, and not the process, had before.
struct CkxActAsClient::State {
  uid_t user;
  gid_t group;
  std::vector<gid_t> groups;
};

/// The system keeps the rights for files by thread; its library does not tell: it sets groups for all threads at once.
CkxActAsClient::CkxActAsClient(const CkxSecurePipe& pipe) {
  ucred client{};
  socklen_t size = sizeof(client);
  if (!pipe.IsOpen() || getsockopt(pipe._state->socket.Get(), SOL_SOCKET, SO_PEERCRED, &client, &size) != 0) return;
  if (geteuid() != 0) {
    _may = client.uid == geteuid();  // as it is
    return;
  }
  const std::optional<std::vector<gid_t>> groups = GroupsOf(pipe._state->socket.Get());
  if (!groups) return;
  _before = std::make_unique<State>(State{geteuid(), getegid(), OwnGroups()});
  _isActing = true;
  _may = SetThreadGroups(*groups) && SetThreadFileUser(client.uid, client.gid);
}

CkxActAsClient::~CkxActAsClient() {
  if (!_isActing) return;
  const int error = errno;
  if (!SetThreadFileUser(_before->user, _before->group) || !SetThreadGroups(_before->groups)) {
    std::terminate();  // whatever this thread did next, it would do as a stranger
  }
  errno = error;
}

void CkxSecurePipe::Cancel() {
  if (IsOpen()) shutdown(_state->socket.Get(), SHUT_RDWR);
}

CkxSecurePipe KxSocket_ToPipe(CkxDescriptor socket) {
  return CkxSecurePipe(std::make_unique<CkxSecurePipe::State>(CkxSecurePipe::State{std::move(socket)}));
}

EkxPipeResult KxPipe_ConnectUnchecked(const std::string& encodedName, const SkxPipeOptions& /*options*/,
                                      CkxDeadline deadline, CkxSecurePipe& pipe) {
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
