#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kx_util/admin_task.h>

#include <set>

#include "Agent/engine/kx_util/task/admin_task_catalogue.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
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

Ids Only(const std::optional<uint64_t>& id) { return id ? Ids{static_cast<uint32_t>(*id)} : Ids(); }

TEST_F(AdminTaskTest, ProcessesFilesRequestsAndClasses) {
  KxTest_ForRows<KxWString, KxWString, std::optional<uint64_t>>(
      "tasks/processes.txt",
      [](const auto& path, const auto& line, const auto& id) { EXPECT_EQ(OfProcess(path, line), Only(id)); });
  KxTest_ForRows<KxWString, std::optional<uint64_t>>(
      "tasks/files.txt", [](const auto& path, const auto& id) { EXPECT_EQ(OfFile(path), Only(id)); });
  KxTest_ForRows<uint64_t, KxWString, std::optional<uint64_t>>(
      "tasks/requests.txt", [](uint64_t kind, const auto& url, const auto& id) {
        EXPECT_EQ(OfRequest(static_cast<uint32_t>(kind), url), Only(id));
      });
  KxTest_ForRows<KxWString, std::optional<uint64_t>>(
      "tasks/classes.txt", [](const auto& classId, const auto& id) { EXPECT_EQ(OfClass(classId), Only(id)); });
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
