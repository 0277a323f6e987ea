// The server's end: a local socket in the runtime folder.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>

#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/secure_named_pipe/socket_posix.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr int kBacklog = 256;  // clients that the system keeps until they are accepted

/// Holds the name for as long as it is open: whoever has it may take away the socket that a killed server left. The
/// file stays, since taking it away would leave two servers with a lock each.
CkxDescriptor LockName(const CkxDescriptor& folder, const std::string& encodedName) {
  return KxPosix_LockFile(folder, encodedName + ".lock");
}

/// Listening, and open to every user, whatever the umask is.
CkxDescriptor ListenAt(const CkxDescriptor& folder, const std::string& encodedName) {
  const std::string file = KxSocket_FileName(encodedName);
  const CkxSocketAddress address(folder, encodedName);
  CkxDescriptor listening(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!listening || (unlinkat(folder.Get(), file.c_str(), 0) != 0 && errno != ENOENT) ||
      bind(listening.Get(), address.Get(), address.Size()) != 0 || fchmodat(folder.Get(), file.c_str(), 0666, 0) != 0 ||
      listen(listening.Get(), kBacklog) != 0) {
    return CkxDescriptor();
  }
  return listening;
}

/// The client gave up, or nobody is there (yet).
bool IsNoClient(int error) { return error == EAGAIN || error == EINTR || error == ECONNABORTED; }

}  // namespace

struct CkxSecurePipeListener::State {
  CkxDescriptor folder;
  CkxDescriptor lock;
  CkxDescriptor listening;
  CkxDescriptor stop;  // readable for ever once the listener is stopped
  std::string name;

  ~State() {
    const int error = errno;
    if (listening) unlinkat(folder.Get(), KxSocket_FileName(name).c_str(), 0);
    errno = error;
  }

  bool Listen() {
    folder = KxPosix_OpenRuntimeFolder(true);
    if (folder) lock = LockName(folder, name);
    if (lock) stop = CkxDescriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (stop) listening = ListenAt(folder, name);
    if (!listening) KxLastError_SetFromSystem();
    return static_cast<bool>(listening);
  }

  /// False once the listener is stopped; true when a client may be there, or (with `clients` false) after a pause.
  bool Wait(bool clients) const {
    pollfd waits[] = {{stop.Get(), POLLIN, 0}, {clients ? listening.Get() : -1, POLLIN, 0}};
    poll(waits, std::size(waits), clients ? -1 : kKxAcceptPauseMs);
    return waits[0].revents == 0;
  }
};

CkxSecurePipeListener::CkxSecurePipeListener() = default;
CkxSecurePipeListener::~CkxSecurePipeListener() = default;

bool CkxSecurePipeListener::Listen(CkxTextView name) {
  auto state = std::make_unique<State>();
  state->name = KxPipe_EncodedName(name);
  if (state->name.empty() || !state->Listen()) return false;
  _state = std::move(state);
  return true;
}

bool CkxSecurePipeListener::Accept(CkxSecurePipe& pipe) {
  if (_state == nullptr) return false;
  while (_state->Wait(true)) {
    CkxDescriptor client(accept4(_state->listening.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (client) {
      pipe = KxSocket_ToPipe(std::move(client));
      return true;
    }
    if (IsNoClient(errno)) continue;
    KxLastError_SetFromSystem();
    KxTrace(EkxTraceLevel::Error, "CkxSecurePipeListener",
            "ERROR: A client was not accepted. LastError=", KxLastError_Get());
    _state->Wait(false);
  }
  return false;
}

void CkxSecurePipeListener::Stop() {
  if (_state != nullptr) eventfd_write(_state->stop.Get(), 1);
}
