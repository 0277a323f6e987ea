#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <ctime>

#include "Common_CPP/util/descriptor_posix.h"
#include "Common_CPP/util/stop_signal.h"

namespace {

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  return signals;
}

/// One that the process can be told by.
bool HasTerminal() { return static_cast<bool>(CkxDescriptor(open("/dev/tty", O_RDONLY | O_NOCTTY | O_CLOEXEC))); }

}  // namespace

CkxStopSignal::CkxStopSignal() : _hadTerminal(HasTerminal()) {
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

CkxStopSignal::~CkxStopSignal() {
  std::signal(SIGPIPE, SIG_DFL);
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

EkxWake CkxStopSignal::Next(uint32_t milliseconds) {
  if (_stopped) return EkxWake::Stop;
  const sigset_t signals = StopSignals();
  const timespec timeout = {static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000};
  const int signal = sigtimedwait(&signals, nullptr, &timeout);
  if (signal <= 0) return EkxWake::TimeUp;  // interrupted by another signal: as if the time were up
  if (signal == SIGHUP && (!_hadTerminal || HasTerminal())) return EkxWake::Reload;
  _stopped = true;
  return EkxWake::Stop;
}

void KxStopSignal_Raise(EkxWake wake) { kill(getpid(), wake == EkxWake::Reload ? SIGHUP : SIGTERM); }
