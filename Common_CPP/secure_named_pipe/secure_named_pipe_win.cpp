#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/secure_named_pipe/pipe_win.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

EkxPipeResult Fail(EkxPipeResult result, DWORD error) {
  SetLastError(error);
  return result;
}

/// The last error of a call on a connected pipe.
EkxPipeResult Fault() {
  const DWORD error = GetLastError();
  const bool closed = error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
  return closed ? Fail(EkxPipeResult::Closed, ERROR_BROKEN_PIPE) : EkxPipeResult::Failed;
}

template <class Start>
EkxPipeResult Transfer(const CkxSecurePipe::State& state, CkxDeadline deadline, const Start& start, DWORD& count) {
  const uint32_t left = deadline.Remaining();
  if (left == 0) return Fail(EkxPipeResult::TimedOut, ERROR_TIMEOUT);
  if (state.isCanceled) return Fail(EkxPipeResult::Closed, ERROR_BROKEN_PIPE);
  switch (KxPipe_Overlapped(state.pipe.Get(), state.done.Get(), state.canceled.Get(), left, start, count)) {
    case EkxOverlapped::Done:
      return EkxPipeResult::Done;
    case EkxOverlapped::TimedOut:
      return Fail(EkxPipeResult::TimedOut, ERROR_TIMEOUT);
    case EkxOverlapped::Canceled:
      return Fail(EkxPipeResult::Closed, ERROR_BROKEN_PIPE);
    default:
      return Fault();
  }
}

/// The calling thread takes on the client's identity for a look at it.
std::optional<CkxSid> ClientUser(HANDLE pipe) {
  if (!ImpersonateNamedPipeClient(pipe)) return std::nullopt;
  const std::optional<CkxSid> user = KxToken_User(nullptr);
  if (!RevertToSelf()) {
    KxTrace(EkxTraceLevel::Error, "CkxSecurePipe",
            "ERROR: The thread runs as a client and cannot go back. LastError=", KxLastError_Get());
    std::terminate();  // whatever this thread did next, it would do as a stranger
  }
  return user;
}

/// Whoever made the pipe; a server's token is closed to its clients.
std::optional<CkxSid> OwnerOf(HANDLE pipe) {
  alignas(SECURITY_DESCRIPTOR) unsigned char bytes[256];
  DWORD size = 0;
  PSID owner = nullptr;
  BOOL defaulted = FALSE;
  if (!GetKernelObjectSecurity(pipe, OWNER_SECURITY_INFORMATION, bytes, sizeof(bytes), &size) ||
      !GetSecurityDescriptorOwner(bytes, &owner, &defaulted) || owner == nullptr) {
    return std::nullopt;
  }
  return CkxSid::FromBytes(owner, GetLengthSid(owner));
}

}  // namespace

std::wstring KxPipe_SystemName(const std::string& encodedName) {
  return L"\\\\.\\pipe\\KxPipe." + std::wstring(encodedName.begin(), encodedName.end());
}

std::unique_ptr<CkxSecurePipe::State> CkxSecurePipe::State::Make(CkxHandle pipe, bool isServer) {
  auto state = std::make_unique<State>();
  state->pipe = std::move(pipe);
  state->done = KxPipe_Event();
  state->canceled = KxPipe_Event();
  state->isServer = isServer;
  return state->done && state->canceled ? std::move(state) : nullptr;
}

CkxSecurePipe::CkxSecurePipe() = default;
CkxSecurePipe::CkxSecurePipe(std::unique_ptr<State> state) : _state(std::move(state)) {}
CkxSecurePipe::CkxSecurePipe(CkxSecurePipe&&) noexcept = default;
CkxSecurePipe& CkxSecurePipe::operator=(CkxSecurePipe&&) noexcept = default;
CkxSecurePipe::~CkxSecurePipe() = default;
void CkxSecurePipe::Close() { _state.reset(); }

EkxPipeResult CkxSecurePipe::Read(std::span<unsigned char> bytes, CkxDeadline deadline, size_t& count) {
  if (!IsOpen() || bytes.empty()) return Fail(EkxPipeResult::Failed, ERROR_INVALID_PARAMETER);
  const auto start = [&](OVERLAPPED* operation) {
    const auto most = static_cast<DWORD>(std::min<size_t>(bytes.size(), MAXLONG));
    return ReadFile(_state->pipe.Get(), bytes.data(), most, nullptr, operation);
  };
  DWORD read = 0;
  EkxPipeResult result = EkxPipeResult::Done;
  // A peer may write nothing, and that too is delivered.
  while (result == EkxPipeResult::Done && read == 0) result = Transfer(*_state, deadline, start, read);
  count = read;
  return result;
}

EkxPipeResult CkxSecurePipe::Write(std::span<const unsigned char> bytes, CkxDeadline deadline) {
  if (!IsOpen()) return Fail(EkxPipeResult::Failed, ERROR_INVALID_PARAMETER);
  while (!bytes.empty()) {
    const auto start = [&](OVERLAPPED* operation) {
      const auto most = static_cast<DWORD>(std::min<size_t>(bytes.size(), MAXLONG));
      return WriteFile(_state->pipe.Get(), bytes.data(), most, nullptr, operation);
    };
    DWORD written = 0;
    const EkxPipeResult result = Transfer(*_state, deadline, start, written);
    if (result != EkxPipeResult::Done) return result;
    bytes = bytes.subspan(written);
  }
  return EkxPipeResult::Done;
}

std::optional<SkxPipePeer> CkxSecurePipe::Peer() const {
  if (!IsOpen()) return std::nullopt;
  HANDLE const pipe = _state->pipe.Get();
  ULONG processId = 0;
  const BOOL known =
      _state->isServer ? GetNamedPipeClientProcessId(pipe, &processId) : GetNamedPipeServerProcessId(pipe, &processId);
  const std::optional<CkxSid> user = _state->isServer ? ClientUser(pipe) : OwnerOf(pipe);
  if (!known || !user || !user->IsValid()) return std::nullopt;
  return SkxPipePeer{*user, processId};
}

void CkxSecurePipe::Cancel() {
  if (!IsOpen()) return;
  _state->isCanceled = true;
  SetEvent(_state->canceled.Get());
}

EkxPipeResult KxPipe_ConnectUnchecked(const std::string& encodedName, CkxDeadline deadline, CkxSecurePipe& pipe) {
  // Less than GENERIC_WRITE, which includes the right to serve; the server may know this thread's user, no more.
  constexpr DWORD kAccess = FILE_GENERIC_READ | FILE_WRITE_DATA;
  constexpr DWORD kFlags = FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;
  const std::wstring name = KxPipe_SystemName(encodedName);
  for (;;) {
    const uint32_t left = deadline.Remaining();
    if (left == 0) return Fail(EkxPipeResult::TimedOut, ERROR_TIMEOUT);
    CkxHandle connection(CreateFileW(name.c_str(), kAccess, 0, nullptr, OPEN_EXISTING, kFlags, nullptr));
    if (connection) {
      auto state = CkxSecurePipe::State::Make(std::move(connection), false);
      if (state == nullptr) return EkxPipeResult::Failed;
      pipe = CkxSecurePipe(std::move(state));
      return EkxPipeResult::Done;
    }
    if (GetLastError() != ERROR_PIPE_BUSY) return EkxPipeResult::Failed;
    if (!WaitNamedPipeW(name.c_str(), left) && GetLastError() != ERROR_SEM_TIMEOUT) return EkxPipeResult::Failed;
  }
}
