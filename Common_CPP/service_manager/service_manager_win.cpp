#include <exception>

#include "Common_CPP/service_manager/service_manager.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/stop_signal.h"

// After windows.h, which it does not include itself.
#include <winsvc.h>

namespace {

constexpr DWORD kStepMilliseconds = 30000;  // that the manager waits for the next word of a service that starts or ends

/// The service that this process is; the manager calls back without a context.
struct SkxOwnService {
  const std::function<int()>* body = nullptr;
  int result = 0;
  SERVICE_STATUS_HANDLE handle = nullptr;  // null while no manager knows it
  DWORD state = SERVICE_STOPPED;
  DWORD step = 0;  // of a change that takes its time

  static SkxOwnService& Get() {
    static SkxOwnService service;
    return service;
  }

  /// While it starts or ends nothing can be asked of it.
  void Tell(DWORD newState) {
    if (handle == nullptr) return;
    const bool isChanging = newState == SERVICE_START_PENDING || newState == SERVICE_STOP_PENDING;
    step = isChanging ? step + 1 : 0;
    state = newState;
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = newState;
    status.dwControlsAccepted =
        newState == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_PARAMCHANGE : 0;
    status.dwCheckPoint = step;
    status.dwWaitHint = isChanging ? kStepMilliseconds : 0;
    const bool hasFailed = newState == SERVICE_STOPPED && result != 0;
    status.dwWin32ExitCode = hasFailed ? ERROR_SERVICE_SPECIFIC_ERROR : NO_ERROR;
    status.dwServiceSpecificExitCode = hasFailed ? static_cast<DWORD>(result) : 0;
    SetServiceStatus(handle, &status);
  }
};

DWORD WINAPI OnControl(DWORD control, DWORD /*type*/, void* /*data*/, void* /*context*/) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
      KxStopSignal_Raise(EkxWake::Stop);
      return NO_ERROR;
    case SERVICE_CONTROL_PARAMCHANGE:
      KxStopSignal_Raise(EkxWake::Reload);
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void WINAPI OwnServiceMain(DWORD /*count*/, WCHAR** /*arguments*/) {
  SkxOwnService& service = SkxOwnService::Get();
  service.handle = RegisterServiceCtrlHandlerExW(L"", OnControl, nullptr);  // alone in its process: any name is it
  if (service.handle == nullptr) return;
  service.Tell(SERVICE_START_PENDING);
  service.result = (*service.body)();
  service.Tell(SERVICE_STOPPED);
}

}  // namespace

CkxServiceManager::CkxServiceManager() = default;
void CkxServiceManager::Ready(std::string_view /*state*/) { SkxOwnService::Get().Tell(SERVICE_RUNNING); }
void CkxServiceManager::Reloading() {}  // it has no word for that
void CkxServiceManager::Stopping() { SkxOwnService::Get().Tell(SERVICE_STOP_PENDING); }
void CkxServiceManager::State(std::string_view /*state*/) {}
void CkxServiceManager::Beat() {}  // it asks nobody whether it is alive

std::optional<int> KxServiceManager_Run(const std::function<int()>& body) {
  SkxOwnService& service = SkxOwnService::Get();
  service.body = &body;
  WCHAR anyName[] = L"";
  const SERVICE_TABLE_ENTRYW table[] = {{anyName, OwnServiceMain}, {nullptr, nullptr}};
  if (!StartServiceCtrlDispatcherW(table) || service.handle == nullptr) return std::nullopt;
  return service.result;
}
