#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/integrity_win.h"
#include "Common_CPP/access_token/object_owner_win.h"
#include "Common_CPP/secure_named_pipe/pipe_platform.h"
#include "Common_CPP/secure_named_pipe/pipe_win.h"
#include "Common_CPP/security/agent_trust.h"
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

void GoBack() {
  const CkxLastErrorGuard guard;
  if (RevertToSelf()) return;
  KxTrace(EkxTraceLevel::Error, "CkxSecurePipe",
          "ERROR: The thread runs as a client and cannot go back. LastError=", KxLastError_Get());
  std::terminate();  // whatever this thread did next, it would do as a stranger
}

/// The calling thread takes on the client's identity for a look at it: what `look` says of it, else `otherwise`.
template <class Result, class Look>
Result AsClient(HANDLE pipe, Result otherwise, Look look) {
  struct Back {
    ~Back() { GoBack(); }
  };
  if (!ImpersonateNamedPipeClient(pipe)) return otherwise;
  const Back back;
  return look();
}

std::optional<CkxSid> ClientUser(HANDLE pipe) {
  return AsClient<std::optional<CkxSid>>(pipe, std::nullopt, [] { return KxToken_User(nullptr); });
}

/// Of the calling thread: a member of the administrators who counts as one, which takes a process that runs elevated.
bool IsAdministrator(uint32_t integrity) {
  constexpr uint32_t kHigh = 0x3000;
  const std::optional<CkxSid> group = CkxSid::FromUtf8("S-1-5-32-544");
  BOOL isMember = FALSE;
  return integrity >= kHigh && group &&
         CheckTokenMembership(nullptr, const_cast<unsigned char*>(group->Bytes()), &isMember) && isMember;
}

/// The pipe's owner, since most servers' tokens are closed to their clients; the integrity where they are not.
std::optional<SkxPipePeer> Server(HANDLE pipe, ULONG processId) {
  const std::optional<CkxSid> owner = KxObject_Owner(pipe);
  if (!owner) return std::nullopt;
  const CkxHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  return SkxPipePeer{*owner, processId, process ? KxToken_Integrity(process.Get()) : std::nullopt};
}

std::optional<SkxPipePeer> Client(HANDLE pipe, ULONG processId) {
  const std::optional<CkxSid> user = ClientUser(pipe);
  if (!user || !user->IsValid()) return std::nullopt;
  return SkxPipePeer{*user, processId, std::nullopt};
}

EkxPipeResult Connect(const std::wstring& name, DWORD flags, CkxDeadline deadline, CkxSecurePipe& pipe) {
  // Less than GENERIC_WRITE, which includes the right to serve.
  constexpr DWORD kAccess = FILE_GENERIC_READ | FILE_WRITE_DATA;
  for (;;) {
    const uint32_t left = deadline.Remaining();
    if (left == 0) return Fail(EkxPipeResult::TimedOut, ERROR_TIMEOUT);
    CkxHandle connection(CreateFileW(name.c_str(), kAccess, 0, nullptr, OPEN_EXISTING, flags, nullptr));
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

}  // namespace

std::wstring KxPipe_SystemName(const wchar_t* prefix, const std::string& encodedName) {
  return prefix + (L"KxPipe." + std::wstring(encodedName.begin(), encodedName.end()));
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
  if (!known) return std::nullopt;
  return _state->isServer ? Client(pipe, processId) : Server(pipe, processId);
}

/// By its process: the pipe tells its client's user only once it has been read from.
std::optional<CkxSid> CkxSecurePipe::ClientAccount() const {
  ULONG processId = 0;
  if (!IsOpen() || !GetNamedPipeClientProcessId(_state->pipe.Get(), &processId)) return std::nullopt;
  const CkxHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  return process ? KxToken_User(process.Get()) : std::nullopt;
}

bool CkxSecurePipe::ClientMayAdminister() const {
  if (!IsOpen() || !_state->isServer) return false;
  const std::optional<CkxSid> own = KxToken_User(GetCurrentProcess());
  const std::optional<uint32_t> ownIntegrity = KxToken_Integrity(GetCurrentProcess());
  return AsClient(_state->pipe.Get(), false, [&] {
    const std::optional<CkxSid> user = KxToken_User(nullptr);
    const std::optional<uint32_t> integrity = KxToken_Integrity(nullptr);
    if (!user || !integrity) return false;
    const bool isOwn = own && own->Equals(*user) && ownIntegrity && *integrity >= *ownIntegrity;
    return user->ToUtf8() == "S-1-5-18" || isOwn || IsAdministrator(*integrity);
  });
}

struct CkxActAsClient::State {};

CkxActAsClient::CkxActAsClient(const CkxSecurePipe& pipe) {
  const CkxSecurePipe::State* const state = pipe._state.get();
  if (state == nullptr || !ImpersonateNamedPipeClient(state->pipe.Get())) return;
  _isActing = true;
  // One that lets itself only be identified opens nothing, and would be judged by what cannot be seen.
  SECURITY_IMPERSONATION_LEVEL level{};
  DWORD size = 0;
  CkxHandle token;
  _may = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) &&
         GetTokenInformation(token.Get(), TokenImpersonationLevel, &level, sizeof(level), &size) &&
         level >= SecurityImpersonation;
}

CkxActAsClient::~CkxActAsClient() {
  if (_isActing) GoBack();
}

void CkxSecurePipe::Cancel() {
  if (!IsOpen()) return;
  _state->isCanceled = true;
  SetEvent(_state->canceled.Get());
}

/// First where nobody but administrators can serve; one that is met outside, which anybody may be, is no better known
/// than its owner, and may never act as this thread's user, unless that is who serves.
EkxPipeResult KxPipe_ConnectUnchecked(const std::string& encodedName, const SkxPipeOptions& options,
                                      CkxDeadline deadline, CkxSecurePipe& pipe) {
  constexpr DWORD kFlags = FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT;
  const DWORD known = kFlags | (options.letsActAsUs ? SECURITY_IMPERSONATION : SECURITY_IDENTIFICATION);
  const DWORD unknown = KxTrust_OwnUser() ? known : kFlags | SECURITY_IDENTIFICATION;
  const EkxPipeResult result = Connect(KxPipe_SystemName(kKxProtectedPipes, encodedName), known, deadline, pipe);
  if (result != EkxPipeResult::Failed || GetLastError() != ERROR_FILE_NOT_FOUND) return result;
  return Connect(KxPipe_SystemName(kKxPlainPipes, encodedName), unknown, deadline, pipe);
}
