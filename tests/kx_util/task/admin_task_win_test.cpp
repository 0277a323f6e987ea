#include <gtest/gtest.h>
#include <kx_util/admin_task.h>

#include "Common_CPP/file/machine_facts.h"

namespace {

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

}  // namespace
