// A word from one process to all that sleep until it comes: "look again". It carries nothing; several of them may reach
// a waiter as one, and a waiter may be told once more than there was need. None is lost: from the moment at which a
// waiter is opened, each signal is followed by an end of its wait.
//
// Windows: the event `name`, manual-reset, which other components of the system wait on too. Setting it ends the waits
// of that moment, and it is reset at once, so that nobody runs around in circles. That alone would pass by a thread
// that is not waiting just then, or is suspended in its wait. So beside it there is what remembers:
//
//   section name-Turn        u64: the turn, a random number that each signal changes
//   event   name-TURN        manual-reset, made before its turn begins, set when its turn is over, and never reset
//
// A waiter compares the turn with the one that it knows, and sleeps on the turn's own event and on `name`. It keeps the
// section open, so that a sender that comes after another goes on from its turn. Where the turn has no event, since
// nobody has signaled yet or whoever did is gone, it sleeps on `name` alone and looks at the turn now and then. A
// service that knows only the event `name` is heard as well.
//
// Any process may have made these before the agent did. One that cannot be the agent's
// (Common_CPP/security/agent_trust.h) is refused by both sides, with a line in the trace: a sender does without it, and
// a waiter looks at the turn now and then, later than it would have been told. So a waiter makes the event itself only
// where it would be taken for the agent's; elsewhere it looks for it every second until there is one.
//
// Elsewhere: a file in the runtime folder, put in its place anew by each signal. The system keeps for each waiter what
// happened to the file, or, before there is one, to the nearest folder above it that exists.
#pragma once

#include <memory>

#include "Common_CPP/util/text_view.h"

class CkxNoticeSender {
 public:
  explicit CkxNoticeSender(CkxTextView name);
  ~CkxNoticeSender();
  CkxNoticeSender(const CkxNoticeSender&) = delete;
  CkxNoticeSender& operator=(const CkxNoticeSender&) = delete;

  /// Tells everyone. False with the thread's last error set.
  bool Signal();

  /// Tells everyone, and leaves nothing behind.
  void Withdraw();

 private:
  struct State;
  const std::unique_ptr<State> _state;
};

enum class EkxNoticeWait : unsigned char { Told, Stopped, Failed };

class IkxNoticeWaiter {
 public:
  virtual ~IkxNoticeWaiter() = default;

  /// Sleeps until it is told, or stopped. Failed with the thread's last error set. One thread at a time.
  virtual EkxNoticeWait Wait() = 0;

  /// Ends the wait, and every later one. From any thread.
  virtual void Stop() = 0;
};

/// Null with the thread's last error set. There need not be a sender yet.
std::unique_ptr<IkxNoticeWaiter> KxNotice_OpenWaiter(CkxTextView name);
