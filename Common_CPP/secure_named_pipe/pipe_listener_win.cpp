// The server's end: a named pipe, of which one instance always waits.
#include "Common_CPP/access_token/object_access_win.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/secure_named_pipe/pipe_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr DWORD kBufferBytes = 64 * 1024;  // a request or a small reply is written without waiting for its reader

/// Everyone on this machine, sandboxed and low-integrity processes included, may connect, which is FILE_GENERIC_READ
/// and FILE_GENERIC_WRITE without the right to make an instance of the pipe (4).
constexpr const WCHAR* kOthersMay = L"(A;;0x12019b;;;WD)(A;;0x12019b;;;S-1-15-2-1)";
constexpr const WCHAR* kLowIntegrity = L"S:(ML;;NW;;;LW)";

}  // namespace

struct CkxSecurePipeListener::State {
  std::wstring name;
  CkxObjectAccess access = CkxObjectAccess(kOthersMay, kLowIntegrity);
  CkxHandle done;
  CkxHandle stop;
  CkxHandle instance;  // to which the next client connects; there is always one, or the name would be free to take

  bool Listen() {
    done = KxPipe_Event();
    stop = KxPipe_Event();
    if (access && done && stop) instance = MakeInstance(FILE_FLAG_FIRST_PIPE_INSTANCE);
    return static_cast<bool>(instance);
  }

  CkxHandle MakeInstance(DWORD flags) {
    return CkxHandle(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | flags,
                                      PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_REJECT_REMOTE_CLIENTS,
                                      PIPE_UNLIMITED_INSTANCES, kBufferBytes, kBufferBytes, 0, access.Attributes()));
  }

  EkxOverlapped WaitForClient() const {
    const auto start = [&](OVERLAPPED* operation) {
      const BOOL started = ConnectNamedPipe(instance.Get(), operation);
      if (started || GetLastError() != ERROR_PIPE_CONNECTED) return started;
      SetEvent(operation->hEvent);  // it came before it was waited for
      return TRUE;
    };
    DWORD none = 0;
    return KxPipe_Overlapped(instance.Get(), done.Get(), stop.Get(), INFINITE, start, none);
  }

  /// Hands out the instance that is connected, once another one is in its place.
  bool Take(CkxSecurePipe& pipe) {
    CkxHandle next = MakeInstance(0);
    if (!next) return false;
    CkxHandle connected = std::move(instance);
    instance = std::move(next);
    auto state = CkxSecurePipe::State::Make(std::move(connected), true);
    if (state == nullptr) return false;
    pipe = CkxSecurePipe(std::move(state));
    return true;
  }

  /// The client is let go, and so is a fault of the system some time to go away.
  void Recover() const {
    KxTrace(EkxTraceLevel::Error, "CkxSecurePipeListener",
            "ERROR: A client was not accepted. LastError=", KxLastError_Get());
    DisconnectNamedPipe(instance.Get());
    WaitForSingleObject(stop.Get(), kKxAcceptPauseMs);
  }
};

CkxSecurePipeListener::CkxSecurePipeListener() = default;
CkxSecurePipeListener::~CkxSecurePipeListener() = default;

bool CkxSecurePipeListener::Listen(CkxTextView name) {
  const std::string encoded = KxPipe_EncodedName(name);
  if (encoded.empty()) return false;
  auto state = std::make_unique<State>();
  state->name = KxPipe_SystemName(kKxProtectedPipes, encoded);
  if (!state->Listen()) {
    if (GetLastError() != ERROR_ACCESS_DENIED) return false;
    if (WaitNamedPipeW(state->name.c_str(), 1) || GetLastError() != ERROR_FILE_NOT_FOUND) {  // somebody has it already
      SetLastError(ERROR_ACCESS_DENIED);
      return false;
    }
    state->name = KxPipe_SystemName(kKxPlainPipes, encoded);  // without the rights for the other
    if (!state->Listen()) return false;
  }
  _state = std::move(state);
  return true;
}

bool CkxSecurePipeListener::Accept(CkxSecurePipe& pipe) {
  while (_state != nullptr) {
    const EkxOverlapped waited = _state->WaitForClient();
    if (waited == EkxOverlapped::Canceled) return false;
    if (waited == EkxOverlapped::Done && _state->Take(pipe)) return true;
    if (waited == EkxOverlapped::Failed && GetLastError() == ERROR_NO_DATA) {
      DisconnectNamedPipe(_state->instance.Get());  // gone before it was accepted
    } else {
      _state->Recover();
    }
  }
  return false;
}

void CkxSecurePipeListener::Stop() {
  if (_state != nullptr) SetEvent(_state->stop.Get());
}
