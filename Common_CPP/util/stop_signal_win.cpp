#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/stop_signal.h"

namespace {

/// The system calls back without a context, on a thread of its own.
HANDLE StopEvent() {
  static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  return event;
}

/// Of which one waiter learns once.
HANDLE ReloadEvent() {
  static const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  return event;
}

BOOL WINAPI OnConsoleEvent(DWORD /*which*/) {
  SetEvent(StopEvent());
  return TRUE;
}

}  // namespace

CkxStopSignal::CkxStopSignal() {
  ResetEvent(StopEvent());
  ResetEvent(ReloadEvent());
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

CkxStopSignal::~CkxStopSignal() { SetConsoleCtrlHandler(OnConsoleEvent, FALSE); }

EkxWake CkxStopSignal::Next(uint32_t milliseconds) {
  if (_stopped) return EkxWake::Stop;
  const HANDLE waits[] = {StopEvent(), ReloadEvent()};  // of two that are set the first is told
  const DWORD woken = WaitForMultipleObjects(2, waits, FALSE, milliseconds);
  if (woken == WAIT_OBJECT_0 + 1) return EkxWake::Reload;
  _stopped = woken == WAIT_OBJECT_0;
  return _stopped ? EkxWake::Stop : EkxWake::TimeUp;
}

void KxStopSignal_Raise(EkxWake wake) { SetEvent(wake == EkxWake::Reload ? ReloadEvent() : StopEvent()); }
