// Processes as Windows tells of them.
#include <gtest/gtest.h>

#include <utility>

#include "Common_CPP/process/process.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"
#include "tests/support/stopped_program.h"

namespace {

KxWString SystemFile(const WCHAR* name) {
  WCHAR folder[MAX_PATH];
  GetSystemDirectoryW(folder, MAX_PATH);
  return KxWString(folder) + L"\\" + name;
}

TEST(ProcessWin, IsWhatWasStarted) {
  const std::string line = "\"a b\" /c \"c \\\"d\" \xC3\xA9\xE4\xB8\xAD";
  const CkxStoppedProgram child(SystemFile(L"cmd.exe"), {line}, L"C:\\windows");
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::Found);
  EXPECT_TRUE(KxText_Equals(chain[0].image, SystemFile(L"cmd.exe"), false)) << KxText_ToUtf8(chain[0].image);
  EXPECT_EQ(KxText_ToUtf8(chain[0].commandLine), line);
  ASSERT_TRUE(chain[0].currentFolder);
  EXPECT_TRUE(KxText_Equals(*chain[0].currentFolder, L"C:\\windows", false)) << KxText_ToUtf8(*chain[0].currentFolder);
  EXPECT_EQ(chain[0].services, L"");
  ASSERT_GE(chain.size(), 2u);
  EXPECT_EQ(chain[1].pid, GetCurrentProcessId());
  EXPECT_EQ(chain[1].commandLine, GetCommandLineW());
}

TEST(ProcessWin, HasEndedThoughSomebodyHoldsIt) {
  const CkxStoppedProgram child(SystemFile(L"cmd.exe"), {"cmd"}, L"C:\\");
  std::vector<SkxProcess> chain;
  ASSERT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::Found);
  EXPECT_EQ(chain[0].currentFolder, L"C:\\");
  child.End();
  EXPECT_EQ(KxProcess_ReadChain(child.Pid(), 64, chain), EkxProcessLookup::NoSuchProcess);
}

TEST(ProcessWin, HasANumberOfItsOwn) {
  std::vector<SkxProcess> chain;
  EXPECT_EQ(KxProcess_ReadChain(GetCurrentProcessId() + 1, 64, chain), EkxProcessLookup::NoSuchProcess);
}

/// The services that run, each with its process.
std::vector<std::pair<KxWString, uint32_t>> Services() {
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE);
  std::vector<unsigned char> bytes(size_t{256} << 10);
  DWORD missing = 0, count = 0, resume = 0;
  EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_ACTIVE, bytes.data(),
                        static_cast<DWORD>(bytes.size()), &missing, &count, &resume, nullptr);
  CloseServiceHandle(manager);
  const auto* services = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(bytes.data());
  std::vector<std::pair<KxWString, uint32_t>> found;
  for (DWORD i = 0; i < count; ++i) {
    found.emplace_back(services[i].lpServiceName, services[i].ServiceStatusProcess.dwProcessId);
  }
  return found;
}

/// Wine may run two service managers, which answer in turn: between two looks somebody else asks as well.
bool IsSaidToHost(uint32_t pid, const KxWString& service) {
  std::vector<SkxProcess> chain;
  for (int look = 0; look < 4; ++look) {
    if (KxProcess_ReadChain(pid, 64, chain) != EkxProcessLookup::Found) break;
    if ((L"/" + chain[0].services + L"/").find(L"/" + service + L"/") != KxWString::npos) return true;
    Services();
  }
  return false;
}

TEST(ProcessWin, HostsServices) {
  bool isAnyFound = false;
  for (const auto& [service, pid] : Services()) {
    std::vector<SkxProcess> chain;
    if (KxProcess_ReadChain(pid, 64, chain) != EkxProcessLookup::Found) continue;
    EXPECT_TRUE(IsSaidToHost(pid, service)) << KxText_ToUtf8(service) << " of " << pid;
    isAnyFound = true;
  }
  if (!isAnyFound) GTEST_SKIP() << "no service runs that this user may look at";
}

}  // namespace
