#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/stop_signal.h"

namespace {

/// The system calls back without a context, on a thread of its own.
HANDLE StopEvent() {
  static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  return event;
}

BOOL WINAPI OnConsoleEvent(DWORD /*which*/) {
  SetEvent(StopEvent());
  return TRUE;
}

}  // namespace

CkxStopSignal::CkxStopSignal() {
  ResetEvent(StopEvent());
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
}

CkxStopSignal::~CkxStopSignal() { SetConsoleCtrlHandler(OnConsoleEvent, FALSE); }

bool CkxStopSignal::Wait(uint32_t milliseconds) {
  _stopped = _stopped || WaitForSingleObject(StopEvent(), milliseconds) == WAIT_OBJECT_0;
  return _stopped;
}
