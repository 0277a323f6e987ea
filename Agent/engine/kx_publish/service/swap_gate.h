// Requests and publications take turns: any number of requests at once, or one change of what they are answered from.
// Who changes waits for the requests under way, and those that come meanwhile wait for the change, so that neither
// waits for long, however many ask.
#pragma once

#include <condition_variable>
#include <mutex>

class CkxSwapGate {
 public:
  class Request {
   public:
    explicit Request(CkxSwapGate& gate) : _gate(gate) {
      std::unique_lock lock(_gate._mutex);
      _gate._changed.wait(lock, [&] { return !_gate._isChanging; });
      ++_gate._requests;
    }
    ~Request() {
      const std::lock_guard lock(_gate._mutex);
      if (--_gate._requests == 0) _gate._changed.notify_all();
    }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

   private:
    CkxSwapGate& _gate;
  };

  class Change {
   public:
    explicit Change(CkxSwapGate& gate) : _gate(gate) {
      std::unique_lock lock(_gate._mutex);
      _gate._changed.wait(lock, [&] { return !_gate._isChanging; });
      _gate._isChanging = true;
      _gate._changed.wait(lock, [&] { return _gate._requests == 0; });
    }
    ~Change() {
      const std::lock_guard lock(_gate._mutex);
      _gate._isChanging = false;
      _gate._changed.notify_all();
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

   private:
    CkxSwapGate& _gate;
  };

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  size_t _requests = 0;
  bool _isChanging = false;
};
