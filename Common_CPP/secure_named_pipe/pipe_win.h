// Overlapped operations on a pipe, with an end. Private to this folder.
#pragma once

#include <atomic>

#include "Common_CPP/secure_named_pipe/protected_pipe_win.h"
#include "Common_CPP/secure_named_pipe/secure_named_pipe.h"
#include "Common_CPP/util/handle_win.h"

/// An event that stays set until an operation resets it; none on failure.
inline CkxHandle KxPipe_Event() { return CkxHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr)); }

/// The name in the system's name space of pipes: under `prefix` (protected_pipe_win.h).
std::wstring KxPipe_SystemName(const wchar_t* prefix, const std::string& encodedName);

/// One end of a pipe.
struct CkxSecurePipe::State {
  CkxHandle pipe;
  CkxHandle done;
  CkxHandle canceled;  // ends the wait that there is; `isCanceled` keeps others from beginning
  std::atomic<bool> isCanceled = false;
  bool isServer = false;

  static std::unique_ptr<State> Make(CkxHandle pipe, bool isServer);  ///< null on failure
};

/// What became of an operation that the system began or refused to begin.
enum class EkxOverlapped : unsigned char { Done, TimedOut, Canceled, Failed };

/// Starts an operation with `start(overlapped)`, which answers as the system's calls do, and waits at most
/// `milliseconds` (or INFINITE) for it. When this returns, the system no longer uses the operation's memory. `Failed`
/// leaves the last error.
template <class Start>
EkxOverlapped KxPipe_Overlapped(HANDLE pipe, HANDLE done, HANDLE canceled, DWORD milliseconds, const Start& start,
                                DWORD& count) {
  OVERLAPPED operation{};
  operation.hEvent = done;
  if (!start(&operation) && GetLastError() != ERROR_IO_PENDING) return EkxOverlapped::Failed;
  const HANDLE waits[] = {canceled, done};  // of two that are set the first is told
  const DWORD woken = WaitForMultipleObjects(2, waits, FALSE, milliseconds);
  if (woken != WAIT_OBJECT_0 + 1) CancelIoEx(pipe, &operation);
  const BOOL isDone = GetOverlappedResult(pipe, &operation, &count, TRUE);
  if (woken == WAIT_OBJECT_0) return EkxOverlapped::Canceled;
  if (isDone) return EkxOverlapped::Done;  // also just before it would have been too late
  return woken == WAIT_TIMEOUT && GetLastError() == ERROR_OPERATION_ABORTED ? EkxOverlapped::TimedOut
                                                                            : EkxOverlapped::Failed;
}
