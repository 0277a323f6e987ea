#include <atomic>
#include <cerrno>
#include <system_error>
#include <thread>

#include "Common_CPP/thread/library_thread.h"
#include "Common_CPP/util/last_error.h"

namespace {

class CkxDetachedThread : public CkxLibraryThread {
 public:
  void Wait() const override { _ended.wait(false); }
  bool HasEnded() const override { return _ended; }

  void End() {
    _ended = true;
    _ended.notify_all();
  }

 private:
  std::atomic<bool> _ended{false};
};

}  // namespace

std::shared_ptr<CkxLibraryThread> CkxLibraryThread::Start(std::function<void()> body) {
  auto started = std::make_shared<CkxDetachedThread>();
  try {
    std::thread([started, run = std::move(body)]() mutable {
      run();
      run = nullptr;
      started->End();
    }).detach();
  } catch (const std::system_error& error) {
    errno = error.code().value();
    KxLastError_SetFromSystem();
    return nullptr;
  }
  return started;
}
