#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/admin_task.h>

#include <set>

#include "Agent/engine/kx_util/task/admin_task_catalogue.h"
#include "Common_CPP/util/text.h"
#include "tests/support/recorded_facts.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Ids = std::vector<uint32_t>;

/// The tasks of which `matches(task)` holds, in the order of their numbers.
template <class Matches>
Ids TasksWhere(Matches matches) {
  Ids ids;
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    if (matches(task)) ids.push_back(task.Id());
  }
  return ids;
}

Ids OfProcess(CkxTextView path, CkxTextView commandLine) {
  SkxProcessFacts facts;
  facts.commandLine = commandLine.ToString();
  const CkxTargetInfoProcess process(KxTest_FileAt(path), facts, nullptr);
  return TasksWhere([&](const CkxAdminTask& task) { return task.MatchProcess(process); });
}

Ids OfFile(CkxTextView path) {
  const CkxTargetInfoFile file(KxTest_FileAt(path), nullptr);
  return TasksWhere([&](const CkxAdminTask& task) { return task.MatchFile(file); });
}

Ids OfRequest(uint32_t kind, CkxTextView url) {
  const CkxTargetInfoElevator request(kind, url.ToString(), nullptr);
  return TasksWhere([&](const CkxAdminTask& task) { return task.MatchElevator(request); });
}

Ids OfClass(CkxTextView classId) {
  SkxServerFacts server;
  server.classId = classId.ToString();
  const CkxTargetInfoUacCOM component(SkxFileFacts(), server, nullptr);
  return TasksWhere([&](const CkxAdminTask& task) { return task.MatchUacCOM(component); });
}

/// Every case on a machine of which nothing is known.
class AdminTaskTest : public testing::Test {
 private:
  const CkxRecordedMachine _machine;
  const CkxMachineFactsScope _scope{_machine};
};

TEST_F(AdminTaskTest, TheCatalogueNumbersItsTasksWithoutGaps) {
  ASSERT_EQ(CkxAdminTask::All().size(), 58u);
  std::set<KxWString> names;
  uint32_t id = 0;
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    EXPECT_EQ(task.Id(), ++id);
    EXPECT_EQ(CkxAdminTask::CreateInstance(id), &task);
    EXPECT_TRUE(names.insert(task.Name()).second) << id;
  }
  for (const uint32_t unknown : {0u, 59u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_EQ(CkxAdminTask::CreateInstance(unknown), nullptr) << unknown;
  }
}

TEST_F(AdminTaskTest, WhatOnlyTheShellShowsHasItemsOfItsOwn) {
  std::set<uint32_t> items;
  for (const CkxAdminTask& task : CkxAdminTask::All()) {
    EXPECT_EQ(task.RequiresKxToolsFolder(), !task.GetKxToolsFolderItemIds().empty()) << task.Id();
    for (const uint32_t item : task.GetKxToolsFolderItemIds()) {
      EXPECT_TRUE(items.insert(item).second) << "item " << item << " starts two tasks";
    }
  }
  EXPECT_EQ(items.size(), 16u);
  EXPECT_THAT(CkxAdminTask::CreateInstance(3)->GetKxToolsFolderItemIds(), ElementsAre(4, 5));
  EXPECT_THAT(CkxAdminTask::CreateInstance(46)->GetKxToolsFolderItemIds(), IsEmpty()) << "a console runs by itself";
}

TEST_F(AdminTaskTest, Processes) {
  const WCHAR* const mmc = KXW("C:\\Windows\\System32\\mmc.exe");
  const WCHAR* const control = KXW("C:\\Windows\\System32\\control.exe");
  const WCHAR* const rundll = KXW("C:\\Windows\\System32\\rundll32.exe");
  const WCHAR* const rundll32on64 = KXW("C:\\Windows\\SysWOW64\\rundll32.exe");
  const WCHAR* const explorer = KXW("C:\\Windows\\explorer.exe");
  const WCHAR* const perfmon = KXW("C:\\Windows\\System32\\perfmon.exe");
  const WCHAR* const printui = KXW("C:\\Windows\\System32\\printui.exe");
  const struct {
    const WCHAR* path;
    const WCHAR* commandLine;
    Ids ids;
  } cases[] = {
      // Consoles.
      {mmc, KXW("\"C:\\Windows\\system32\\mmc.exe\" \"C:\\Windows\\system32\\eventvwr.msc\" /s"), {47}},
      {mmc, KXW("mmc.exe /a C:/WINDOWS/SYSTEM32/DEVMGMT.MSC"), {6}},
      {mmc, KXW("  mmc.exe \\\\?\\C:\\Windows\\System32\\secpol.msc"), {51}},
      {mmc, KXW("mmc.exe C:\\Windows\\System32\\en\\..\\lusrmgr.msc"), {49}},
      {mmc, KXW("mmc gpedit.msc /gpobject:\"LDAP://CN={1},CN=Policies\""), {50}},
      {KXW("c:\\WINDOWS\\syswow64\\MMC.EXE"), KXW("mmc compmgmt.msc /computer=OTHER"), {43}},
      {KXW("\\\\?\\D:\\Windows\\System32\\mmc.exe"), KXW("mmc D:\\Windows\\System32\\wf.msc"), {13}},
      {mmc, KXW("mmc.exe"), {}},
      {mmc, KXW("mmc.exe -Embedding"), {}},
      {mmc, KXW("mmc services"), {}},
      {mmc, KXW("mmc unknown.msc"), {}},
      {mmc, KXW("mmc C:\\Users\\u\\services.msc"), {}},
      {mmc, KXW("mmc C:\\Windows\\System32\\..\\Temp\\services.msc"), {}},
      {mmc, KXW("mmc C:\\Windows\\System32\\en-US\\services.msc"), {}},
      {mmc, KXW("mmc D:\\Windows\\System32\\services.msc"), {}},
      {mmc, KXW("mmc C:services.msc"), {}},
      {mmc, KXW("mmc .\\services.msc"), {}},
      {mmc, KXW("mmc \\\\server\\c$\\Windows\\System32\\services.msc"), {}},
      {mmc, KXW("mmc services.msc C:\\Temp\\evil.msc"), {}},
      {mmc, KXW("mmc C:\\Temp\\evil.msc services.msc"), {}},
      {mmc, KXW("mmc services.msc:evil.msc"), {}},

      // The control panel, by control.exe.
      {control, KXW("\"C:\\Windows\\System32\\control.exe\" \"C:\\Windows\\System32\\timedate.cpl\",,1"), {1}},
      {control, KXW("control TIMEDATE.CPL,@0,1 /more"), {1}},
      {control, KXW("control sysdm.cpl,,0"), {17}},
      {control, KXW("control sysdm.cpl,@0"), {17}},
      {control, KXW("control sysdm.cpl,System,3"), {20}},
      {control, KXW("control sysdm.cpl @0,4"), {21}},
      {control, KXW("control \"sysdm.cpl\" ,5"), {22}},
      {control, KXW("control sysdm.cpl,,33"), {}},
      {control, KXW("control appwiz.cpl,,2"), {4}},
      {control, KXW("CONTROL.EXE Printers"), {8}},
      {control, KXW("control.exe /NAME \"microsoft.poweroptions\" /page pagePlanSettings"), {30}},
      {control, KXW("control /name {025A5937-a6be-4686-a844-36fe4bec8b6d}"), {30}},
      {control, KXW("control"), {}},
      {control, KXW("control /name"), {}},
      {control, KXW("control /name \"\""), {}},
      {control, KXW("control Microsoft.PowerOptions"), {}},
      {control, KXW("control /name Microsoft.Power"), {}},
      {control, KXW("control C:\\ProgramData\\timedate.cpl"), {}},
      {control, KXW("control ..\\timedate.cpl"), {}},
      {control, KXW("control timedate.cpl.cpl"), {}},
      {control, KXW("control timedate"), {}},
      {control, KXW("control \"\" timedate.cpl"), {}},

      // The control panel, by rundll32.exe.
      {rundll, KXW("rundll32.exe shell32.dll,Control_RunDLL intl.cpl"), {2}},
      {rundll, KXW("rundll32 SHELL32,control_rundll sysdm.cpl,,3"), {20}},
      {rundll,
       KXW("rundll32 C:\\Windows\\System32\\shell32.dll,Control_RunDLL \"C:\\Windows\\System32\\sysdm.cpl\" @0,3"),
       {20}},
      {rundll, KXW("rundll32 shell32.dll, Control_RunDLLAsUser ncpa.cpl"), {14}},
      {rundll, KXW("rundll32 shell32.dll Control_RunDLL firewall.cpl"), {12}},
      {rundll, KXW("rundll32 shell32.dll,Control_RunDLL srchadmin.dll"), {34}},
      {rundll32on64,
       KXW("\"C:\\Windows\\SysWOW64\\rundll32.exe\" \"C:\\Windows\\SysWOW64\\shell32.dll\",#44 inetcpl.cpl"),
       {16}},
      {rundll32on64, KXW("rundll32 \"C:\\Windows\\SysWOW64\\shell32.dll\",#44 C:\\ProgramData\\inetcpl.cpl"), {}},
      {rundll, KXW("rundll32 shell32.dll,Control_RunDLL"), {}},
      {rundll, KXW("rundll32 shell32.dll,Control_RunDLL printers"), {}},
      {rundll, KXW("rundll32 shell32.dll,OtherEntry intl.cpl"), {}},
      {rundll, KXW("rundll32 C:\\Temp\\shell32.dll,Control_RunDLL intl.cpl"), {}},
      {rundll, KXW("rundll32 shell32.ocx,Control_RunDLL intl.cpl"), {}},
      {rundll, KXW("rundll32 intl.cpl"), {}},
      {rundll, KXW("rundll32"), {}},

      // Entry points of other libraries.
      {rundll, KXW("rundll32 printui.dll,PrintUIEntry  /S  /T2 "), {10}},
      {rundll, KXW("rundll32  printui.dll,PrintUIEntry /in /n\"\\\\server\\printer\""), {}},
      {rundll, KXW("rundll32 printui.dll,PrintUIEntry /il /in /n\"\\\\server\\printer\""), {}},
      {rundll, KXW("rundll32 printui.dll,PrintUIEntry /il @C:\\Temp\\more.txt"), {}},
      {rundll, KXW("rundll32 printui.dll,PrintUIEntry"), {}},
      {rundll, KXW("rundll32 shell32,SHHelpShortcuts_RunDLL AddPrinter"), {9}},
      {rundll, KXW("rundll32 shell32,SHHelpShortcuts_RunDLL PrintersFolder"), {8}},
      {rundll, KXW("rundll32 shell32,SHHelpShortcuts_RunDLL Connect"), {}},
      {rundll, KXW("rundll32 sysdm,EditEnvironmentVariables"), {}},
      {rundll, KXW("rundll32 keymgr.dll KRShowKeyMgr"), {29}},
      {rundll, KXW("rundll32 javascript:\"\\..\\mshtml,RunHTMLApplication \";alert(1)"), {}},
      {rundll, KXW("rundll32 C:\\Windows\\System32\\comsvcs.dll, MiniDump 512 x.dmp full"), {}},

      // Programs of their own.
      {KXW("C:\\Windows\\System32\\msconfig.exe"), KXW("\"C:\\Windows\\System32\\msconfig.exe\" -4"), {58}},
      {KXW("C:\\Windows\\regedit.exe"), KXW(""), {57}},
      {KXW("C:\\Windows\\SysWOW64\\regedit.exe"), KXW("regedit /s x.reg"), {57}},
      {perfmon, KXW("\"perfmon\"  /SYS "), {55}},
      {perfmon, KXW("perfmon.exe \"/res\""), {56}},
      {perfmon, KXW("perfmon /report"), {}},
      {perfmon, KXW(""), {}},  // what it was told is not known
      {printui, KXW("printui /s /t1"), {10}},
      {printui, KXW("printui /s"), {10}},
      {printui, KXW("printui"), {}},
      {KXW("C:\\Windows\\System32\\notepad.exe"), KXW("notepad services.msc"), {}},
      {KXW("C:\\Windows\\System32\\services.msc"), KXW("services.msc"), {}},

      // Addresses by the shell.
      {explorer, KXW("C:\\Windows\\explorer.exe \"MS-Settings:DefaultApps?registeredAppUser=x\""), {5}},
      {explorer,
       KXW("explorer ::{7B81BE6A-CE2B-4676-A29E-EB907A5126C5}\\::{D450A8A1-9568-45C7-9C0E-B4F9FB4537BD}"),
       {3}},
      {explorer, KXW("explorer shell:::{7007acc7-3202-11d1-aad2-00805fc1270e"), {}},
      {explorer, KXW("explorer ms-settings:"), {}},
      {explorer, KXW("explorer ms-settings:windowsupdate-options"), {}},
      {explorer, KXW("explorer C:\\Windows\\System32\\timedate.cpl"), {}},
      {explorer, KXW("explorer"), {}},

      // The right program elsewhere.
      {KXW("C:\\Tools\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\Windows\\Temp\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\Windows\\System32\\sub\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\Windows\\System32\\..\\Temp\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\Users\\Windows\\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\Windows2\\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("C:\\W\u0131ndows\\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {mmc, KXW("mmc C:\\Window\u017F\\System32\\services.msc"), {}},
      {KXW("C:\\Windows \\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("\\\\server\\C\\Windows\\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("\\Windows\\System32\\mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW("mmc.exe"), KXW("mmc services.msc"), {}},
      {KXW(""), KXW("C:\\Windows\\System32\\mmc.exe services.msc"), {}},
      {KXW("C:\\Tools\\msconfig.exe"), KXW("C:\\Windows\\System32\\msconfig.exe"), {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(OfProcess(c.path, c.commandLine), c.ids)
        << KxText_ToUtf8(c.path) << " as " << KxText_ToUtf8(c.commandLine);
  }
}

TEST_F(AdminTaskTest, Files) {
  const struct {
    const WCHAR* path;
    Ids ids;
  } cases[] = {
      {KXW("C:\\Windows\\System32\\services.msc"), {46}},
      {KXW("C:\\WINDOWS\\SysWOW64\\Timedate.CPL"), {1}},
      {KXW("E:\\windows\\regedit.exe"), {57}},
      {KXW("C:\\Windows\\System32\\sysdm.cpl"), {17}},    // as it opens by itself
      {KXW("C:\\Windows\\System32\\perfmon.exe"), {55}},  // likewise
      {KXW("C:\\Windows\\System32\\printui.exe"), {}},
      {KXW("C:\\Windows\\System32\\control.exe"), {}},
      {KXW("C:\\Windows\\System32\\keymgr.dll"), {}},
      {KXW("C:\\Windows\\System32\\sub\\services.msc"), {}},
      {KXW("C:\\Users\\u\\services.msc"), {}},
      {KXW("services.msc"), {}},
      {KXW("System"), {}},
      {KXW(""), {}},
  };
  for (const auto& c : cases) EXPECT_EQ(OfFile(c.path), c.ids) << KxText_ToUtf8(c.path);
}

TEST_F(AdminTaskTest, RequestsAndClasses) {
  constexpr uint32_t kUrl = CkxTargetInfoElevator::kUrlRequest;
  EXPECT_THAT(OfRequest(kUrl, KXW("ms-settings:DateAndTime")), ElementsAre(1));
  EXPECT_THAT(OfRequest(kUrl, KXW("shell:::{4026492F-2F69-46B8-B9BF-5654FC07E423}")), ElementsAre(12));
  EXPECT_THAT(OfRequest(kUrl, KXW("{4026492F-2F69-46B8-B9BF-5654FC07E423}")), IsEmpty());
  EXPECT_THAT(OfRequest(kUrl, KXW("https://example.com/ms-settings:dateandtime")), IsEmpty());
  EXPECT_THAT(OfRequest(kUrl, KXW("timedate.cpl")), IsEmpty());
  EXPECT_THAT(OfRequest(kUrl, KXW("")), IsEmpty());
  EXPECT_THAT(OfRequest(1, KXW("ms-settings:dateandtime")), IsEmpty()) << "no request for an address";

  EXPECT_THAT(OfClass(KXW("{9df523b0-a6c0-4ea9-b5f1-f4565c3ac8b8}")), ElementsAre(1));
  EXPECT_THAT(OfClass(KXW("{4026492F-2F69-46B8-B9BF-5654FC07E423}")), IsEmpty()) << "of the shell, elevates nothing";
  EXPECT_THAT(OfClass(KXW("9DF523B0-A6C0-4EA9-B5F1-F4565C3AC8B8")), IsEmpty());
  EXPECT_THAT(OfClass(KXW("")), IsEmpty());
}

TEST_F(AdminTaskTest, WhereTheSystemLivesIsKnown) {
  CkxRecordedMachine machine;
  machine.windowsFolder = KXW("e:\\WinNT");
  const CkxMachineFactsScope known(machine);
  EXPECT_THAT(OfProcess(KXW("E:\\WINNT\\System32\\mmc.exe"), KXW("mmc e:\\winnt\\system32\\services.msc")),
              ElementsAre(46));
  EXPECT_THAT(OfFile(KXW("E:\\WinNT\\regedit.exe")), ElementsAre(57));
  for (const WCHAR* elsewhere : {KXW("C:\\Windows\\regedit.exe"), KXW("E:\\Windows\\regedit.exe"),
                                 KXW("D:\\WinNT\\regedit.exe"), KXW("E:\\WinNT2\\regedit.exe")}) {
    EXPECT_THAT(OfFile(elsewhere), IsEmpty()) << KxText_ToUtf8(elsewhere);
  }
}

/// Every way in which a launch of the catalogue can be met with, as the tasks that it is taken for.
std::vector<Ids> Meet(const SkxLaunch& launch) {
  const auto process = [&](CkxTextView program, const KxWString& commandLine) {
    return OfProcess(KXW("C:\\Windows\\System32\\") + program.ToString(), commandLine);
  };
  const KxWString name = launch.name;
  const KxWString detail = launch.detail != nullptr ? launch.detail : KXW("");
  switch (launch.form) {
    case EkxLaunchForm::None:
      return {};
    case EkxLaunchForm::Program:
      if (!detail.empty()) return {process(name, KXW("x ") + detail)};
      return {process(name, KXW("x")), OfFile(KXW("C:\\Windows\\") + name)};
    case EkxLaunchForm::Console:
      return {process(KXW("mmc.exe"), KXW("mmc ") + name), OfFile(KXW("C:\\Windows\\System32\\") + name)};
    case EkxLaunchForm::Panel:
      return {process(KXW("control.exe"), KXW("control ") + name + KXW(",,") + detail),
              process(KXW("rundll32.exe"), KXW("rundll32 shell32.dll,Control_RunDLL ") + name + KXW(" @0,") + detail)};
    case EkxLaunchForm::PanelName:
      return {process(KXW("control.exe"), KXW("control /name ") + name)};
    case EkxLaunchForm::PanelWord:
      return {process(KXW("control.exe"), KXW("control ") + name)};
    case EkxLaunchForm::ShellItem:
      return {process(KXW("control.exe"), KXW("control /name ") + name),
              process(KXW("explorer.exe"), KXW("explorer shell:::") + name), OfRequest(2, KXW("shell:::") + name)};
    case EkxLaunchForm::Library:
      return {process(KXW("rundll32.exe"), KXW("rundll32 ") + name + KXW(" ") + detail)};
    case EkxLaunchForm::Address:
      return {process(KXW("explorer.exe"), KXW("explorer ") + name), OfRequest(2, name)};
    case EkxLaunchForm::ComClass:
      return {OfClass(name)};
  }
  return {};
}

TEST_F(AdminTaskTest, EveryLaunchOfATaskIsItsAlone) {
  for (const SkxAdminTaskEntry& entry : KxAdminTask_Catalogue()) {
    EXPECT_FALSE(entry.Launches().empty()) << entry.id;
    for (const SkxLaunch& launch : entry.Launches()) {
      const std::vector<Ids> met = Meet(launch);
      EXPECT_FALSE(met.empty());
      for (const Ids& ids : met) {
        EXPECT_THAT(ids, ElementsAre(entry.id)) << KxText_ToUtf8(launch.name) << " " << KxText_ToUtf8(launch.detail);
      }
    }
  }
}

}  // namespace
