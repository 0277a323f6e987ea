#include "Agent/engine/kx_util/command/carried_file.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/recorded_facts.h"

namespace {

using testing::ElementsAre;

const std::map<EkxCarriedFile, std::string> kKinds = {
    {EkxCarriedFile::Script, "script"},  {EkxCarriedFile::Package, "package"}, {EkxCarriedFile::Library, "library"},
    {EkxCarriedFile::PanelItem, "item"}, {EkxCarriedFile::Console, "console"}, {EkxCarriedFile::Archive, "archive"},
};

/// "KIND PATH", with " | COMMAND LINE" of a script.
std::optional<std::string> Carried(CkxTextView program, CkxTextView line) {
  const std::optional<SkxCarriedFile> carried = KxCarriedFile_Of(program, line);
  if (!carried) return std::nullopt;
  return kKinds.at(carried->kind) + " " + (carried->isSought ? "..." : "") + KxText_ToUtf8(carried->path) +
         (carried->commandLine.empty() ? "" : " | " + KxText_ToUtf8(carried->commandLine));
}

TEST(CarriedFile, IsNamedByTheLine) {
  const CkxRecordedMachine machine;
  const CkxMachineFactsScope scope(machine);
  KxTest_ForRows<std::vector<std::string>, KxWString, std::optional<std::string>>(
      "command/carried_files.txt", [](const auto& programs, const auto& line, const auto& expected) {
        for (const std::string& program : programs) {
          const bool isName = program.find_first_of("\\/.") == std::string::npos;
          const std::string path = isName ? "C:\\Windows\\System32\\" + program + ".exe" : program;
          EXPECT_EQ(Carried(*KxText_FromUtf8(path), line), expected) << path;
        }
      });
}

TEST(CarriedFile, OnlyOnTheSystemsDriveWhereItIsKnown) {
  CkxRecordedMachine machine;
  machine.windowsFolder = KXW("D:\\Windows");
  const CkxMachineFactsScope scope(machine);
  EXPECT_FALSE(KxCarriedFile_Of(KXW("C:\\Windows\\System32\\msiexec.exe"), KXW("msiexec /i C:\\a.msi")));
  EXPECT_TRUE(KxCarriedFile_Of(KXW("D:\\Windows\\System32\\msiexec.exe"), KXW("msiexec /i C:\\a.msi")));
  EXPECT_TRUE(KxCarriedFile_Of(KXW("C:\\Java\\java.exe"), KXW("java -jar a.jar"))) << "has no place of its own";
}

TEST(CarriedFile, RecordedLines) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  std::ifstream records(std::string(folder) + "/process_events.jsonl");
  if (!records) GTEST_SKIP() << "no process_events.jsonl in " << folder;

  std::set<std::string> found;
  for (std::string record; std::getline(records, record);) {
    const auto event = nlohmann::json::parse(record);
    const auto image = KxText_FromUtf8(event.value("image", ""));
    const auto line = KxText_FromUtf8(event.value("commandLine", ""));
    const std::optional<std::string> carried = image && line ? Carried(*image, *line) : std::nullopt;
    if (carried && !carried->starts_with("script")) found.insert(*carried);
  }
  EXPECT_THAT(found,
              ElementsAre("console C:\\Windows\\system32\\eventvwr.msc", "item C:\\ProgramData\\calc.cpl",
                          "library ...AppXDeploymentExtensions.OneCore.dll", "library ...printui.dll",
                          "library C:\\Windows\\System32\\comsvcs.dll", "library C:\\Windows\\System32\\shell32.dll",
                          "library C:\\windows\\System32\\shell32.dll"));
}

}  // namespace
