#include <csignal>
#include <ctime>

#include "Common_CPP/util/stop_signal.h"

namespace {

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

CkxStopSignal::CkxStopSignal() {
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

CkxStopSignal::~CkxStopSignal() {
  std::signal(SIGPIPE, SIG_DFL);
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool CkxStopSignal::Wait(uint32_t milliseconds) {
  if (_stopped) return true;
  const sigset_t signals = StopSignals();
  const timespec timeout = {static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000};
  _stopped = sigtimedwait(&signals, nullptr, &timeout) > 0;  // interrupted by another signal: as if the time were up
  return _stopped;
}
