// `kxpolicy serve --service` under the system's service control manager.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Common_CPP/util/handle_win.h"
#include "tests/kxpolicy/service_status.h"
#include "tests/support/trace_capture.h"

// After windows.h, which it does not include itself.
#include <winsvc.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;

/// A service of the test's own, gone from the manager at the end.
class ManagedService {
 public:
  explicit ManagedService(const std::wstring& commandLine)
      : _manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE)) {
    if (_manager == nullptr) return;
    const std::string name = KxTest_UniqueName();
    _service = CreateServiceW(_manager, std::wstring(name.begin(), name.end()).c_str(), nullptr, SERVICE_ALL_ACCESS,
                              SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                              commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
  }
  ~ManagedService() {
    Control(SERVICE_CONTROL_STOP);
    DeleteService(_service);
    CloseServiceHandle(_service);
    CloseServiceHandle(_manager);
  }
  ManagedService(const ManagedService&) = delete;
  ManagedService& operator=(const ManagedService&) = delete;

  bool IsThere() const { return _service != nullptr; }
  bool Start() const { return StartServiceW(_service, 0, nullptr); }
  bool Control(DWORD control) const {
    SERVICE_STATUS status;
    return ControlService(_service, control, &status);
  }

  /// As it is once it is in that state; as it was last when it never is.
  SERVICE_STATUS When(DWORD state) const {
    SERVICE_STATUS status{};
    for (int i = 0; i < 2000 && QueryServiceStatus(_service, &status) && status.dwCurrentState != state; ++i) Sleep(5);
    return status;
  }

 private:
  const SC_HANDLE _manager;
  SC_HANDLE _service = nullptr;
};

std::wstring Quoted(const std::filesystem::path& path) { return L"\"" + path.wstring() + L"\""; }

/// The command beside this program.
std::filesystem::path Command() {
  WCHAR path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).replace_filename(L"kxpolicy.exe");
}

TEST(ManagedService, ReadsTheImageAnewAndEndsAsItIsTold) {
  const CkxTraceCapture quiet;
  const CkxTempFolder work;
  const std::filesystem::path image = work.Path() / "image";
  KxTest_CompileOne(work, KxTest_PathText(image), 7);
  const ManagedService service(Quoted(Command()) + L" serve " + Quoted(image) + L" --service");
  if (!service.IsThere()) GTEST_SKIP() << "only an administrator can make a service";

  ASSERT_TRUE(service.Start());
  EXPECT_EQ(service.When(SERVICE_RUNNING).dwCurrentState, DWORD{SERVICE_RUNNING});
  const json before = KxTest_StatusOfPolicy(7);
  EXPECT_EQ(before["folder"], KxTest_PathText(image));
  EXPECT_TRUE(service.Control(SERVICE_CONTROL_PARAMCHANGE));
  const auto isAnother = [&](const json& now) { return now["publication"] != before["publication"]; };
  const json after = KxTest_StatusWhen(isAnother);
  EXPECT_TRUE(isAnother(after)) << "read anew, changed or not";
  EXPECT_EQ(after["inForce"]["digest"], before["inForce"]["digest"]);
  EXPECT_EQ(after["processId"], before["processId"]) << "the service went on meanwhile";

  EXPECT_TRUE(service.Control(SERVICE_CONTROL_STOP));
  const SERVICE_STATUS stopped = service.When(SERVICE_STOPPED);
  EXPECT_EQ(stopped.dwCurrentState, DWORD{SERVICE_STOPPED});
  EXPECT_EQ(stopped.dwWin32ExitCode, DWORD{NO_ERROR});
  EXPECT_EQ(KxTest_RunTool({"show"}).code, 4) << "nothing is left published";

  work.Write("image/policies.sec", "no records");
  ASSERT_TRUE(service.Start());
  const SERVICE_STATUS failed = service.When(SERVICE_STOPPED);
  EXPECT_EQ(failed.dwWin32ExitCode, DWORD{ERROR_SERVICE_SPECIFIC_ERROR});
  EXPECT_EQ(failed.dwServiceSpecificExitCode, 3u);

  const SkxToolRun byHand = KxTest_RunTool({"serve", KxTest_PathText(image), "--service"});
  EXPECT_EQ(byHand.code, 4);
  EXPECT_THAT(byHand.err, HasSubstr("did not start this process"));
}

}  // namespace
