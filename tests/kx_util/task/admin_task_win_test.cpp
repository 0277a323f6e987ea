#include <gtest/gtest.h>
#include <kx_util/admin_task.h>

#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/stopped_program.h"
#include "tests/support/temp_folder.h"

namespace {

/// The numbers of the tasks that a program of the system's folder, or of the Windows folder, is started for.
std::vector<uint32_t> TasksOf(const KxWString& path, const std::vector<std::string>& arguments) {
  const CkxTempFolder folder;
  const CkxStoppedProgram program(path, arguments, folder.Text(""));
  EkxProcessLookup lookup = EkxProcessLookup::Refused;
  const CkxTargetInfoPtr target = CkxTargetInfoProcess::CreateFromPid(program.Pid(), lookup);
  std::vector<uint32_t> ids;
  if (target == nullptr) return {0};
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    if (task.MatchProcess(dynamic_cast<const CkxTargetInfoProcess&>(*target))) ids.push_back(task.Id());
  }
  return ids;
}

TEST(AdminTaskOnThisMachine, TheSystemsOwnDriveCountsAlone) {
  const KxWString windows = KxMachine_SystemFacts().WindowsFolder().ToString();
  ASSERT_GE(windows.size(), 3u);
  const CkxAdminTask* const registryEditor = CkxAdminTask::CreateInstance(57);
  const KxWString own = windows + L"\\regedit.exe";
  EXPECT_TRUE(registryEditor->MatchFile(CkxTargetInfoFile(own.c_str(), nullptr)));

  KxWString other = own;
  other[0] = static_cast<WCHAR>(other[0] == L'Q' ? L'R' : L'Q');
  EXPECT_FALSE(registryEditor->MatchFile(CkxTargetInfoFile(other.c_str(), nullptr)));
}

TEST(AdminTaskOnThisMachine, IsRecognisedByTheProcess) {
  const KxWString windows = KxMachine_SystemFacts().WindowsFolder().ToString();
  const KxWString system = windows + L"\\System32\\";
  using Ids = std::vector<uint32_t>;
  EXPECT_EQ(TasksOf(system + L"control.exe", {"control", "timedate.cpl"}), Ids{1});
  EXPECT_EQ(TasksOf(system + L"control.exe", {"\"control\"", "/name", "Microsoft.DateAndTime"}), Ids{1});
  EXPECT_EQ(TasksOf(system + L"rundll32.exe", {"rundll32", "shell32.dll,Control_RunDLL", "timedate.cpl"}), Ids{1});
  EXPECT_EQ(TasksOf(windows + L"\\regedit.exe", {"regedit", "/s"}), Ids{57});
  EXPECT_EQ(TasksOf(system + L"control.exe", {"control", "D:\\timedate.cpl"}), Ids{}) << "somebody else's";

  const CkxTempFolder folder;
  const KxWString copy = folder.Text("control.exe");
  ASSERT_TRUE(CopyFileW((system + L"control.exe").c_str(), copy.c_str(), TRUE));
  EXPECT_EQ(TasksOf(copy, {"control", "timedate.cpl"}), Ids{}) << "a program of that name elsewhere";
}

}  // namespace
