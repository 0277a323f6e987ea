#include "Common_CPP/thread/library_thread.h"
#include "Common_CPP/util/handle_win.h"

namespace {

/// What the new thread is handed.
struct Launch {
  std::function<void()> body;
  std::shared_ptr<const CkxHandle> ended;  // an event
  HMODULE module;
};

DWORD WINAPI Run(void* parameter) {
  HMODULE module = nullptr;
  {
    const std::unique_ptr<Launch> launch(static_cast<Launch*>(parameter));
    module = launch->module;
    launch->body();
    launch->body = nullptr;
    SetEvent(launch->ended->Get());
  }
  FreeLibraryAndExitThread(module, 0);
}

class CkxModuleThread : public CkxLibraryThread {
 public:
  explicit CkxModuleThread(std::shared_ptr<const CkxHandle> ended) : _ended(std::move(ended)) {}
  void SetThread(CkxHandle thread) { _thread = std::move(thread); }

  void Wait() const override { WaitFor(INFINITE); }
  bool HasEnded() const override { return WaitFor(0) != WAIT_TIMEOUT; }

 private:
  // Not for the thread alone, whose last steps need the loader's lock, which the caller may hold; nor for the event
  // alone, which nobody sets when the process ends and the system ends the thread.
  DWORD WaitFor(DWORD milliseconds) const {
    const HANDLE handles[] = {_ended->Get(), _thread.Get()};
    return WaitForMultipleObjects(2, handles, FALSE, milliseconds);
  }

  CkxHandle _thread;
  const std::shared_ptr<const CkxHandle> _ended;
};

}  // namespace

std::shared_ptr<CkxLibraryThread> CkxLibraryThread::Start(std::function<void()> body) {
  auto ended = std::make_shared<const CkxHandle>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  auto started = std::make_shared<CkxModuleThread>(ended);  // nothing may fail once the thread runs
  auto launch = std::make_unique<Launch>(Launch{std::move(body), ended, nullptr});
  if (!*ended || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<const WCHAR*>(&Run),
                                     &launch->module)) {
    return nullptr;
  }
  CkxHandle thread(CreateThread(nullptr, 0, Run, launch.get(), 0, nullptr));
  if (!thread) {
    const DWORD error = GetLastError();
    FreeLibrary(launch->module);
    SetLastError(error);
    return nullptr;
  }
  static_cast<void>(launch.release());  // the thread's own now
  started->SetThread(std::move(thread));
  return started;
}
