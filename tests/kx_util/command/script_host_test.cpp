#include "Agent/engine/kx_util/command/script_host.h"

#include <gmock/gmock.h>
#include <kx_util/target_info_process.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/temp_folder.h"

namespace {

using testing::ElementsAre;

const WCHAR* const kCmd = KXW("C:\\Windows\\System32\\cmd.exe");
const WCHAR* const kPowerShell = KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe");
const WCHAR* const kPwsh = KXW("C:\\Program Files\\PowerShell\\7\\pwsh.exe");
const WCHAR* const kCScript = KXW("C:\\Windows\\System32\\cscript.exe");

/// "PATH" or "PATH | ARGUMENTS", the latter as a match of arguments sees them; empty for no script.
std::string ScriptOf(const WCHAR* program, const WCHAR* line) {
  const std::optional<SkxHostedScript> script = KxScriptHost_ScriptOf(program, line);
  if (!script) return "";
  EXPECT_FALSE(script->path.empty());
  const SkxCommandLine parts = KxCommandLine_TakeApart(script->commandLine, script->path);
  EXPECT_EQ(KxText_ToUtf8(parts.program), "\"" + KxText_ToUtf8(script->path) + "\"");
  const std::string arguments = KxText_ToUtf8(parts.arguments);
  return KxText_ToUtf8(script->path) + (arguments.empty() ? "" : " | ") + arguments;
}

TEST(ScriptHost, OnlyOnTheSystemsDriveWhereItIsKnown) {
  KxTest_ForRows<KxWString, KxWString, KxWString, std::optional<std::string>>(
      "command/system_drives.txt",
      [](const auto& windowsFolder, const auto& program, const auto& line, const auto& script) {
        CkxRecordedMachine machine;
        machine.windowsFolder = windowsFolder;
        const CkxMachineFactsScope scope(machine);
        EXPECT_EQ(ScriptOf(program.c_str(), line.c_str()), script.value_or(""));
      });
}

TEST(ScriptHost, FindsTheScriptOfALine) {
  const CkxRecordedMachine machine;
  const CkxMachineFactsScope scope(machine);
  const std::map<std::string, KxWString> known = {{"cmd", kCmd},
                                                  {"powershell", kPowerShell},
                                                  {"pwsh", kPwsh},
                                                  {"cscript", kCScript},
                                                  {"wscript", KXW("C:\\Windows\\SysWOW64\\wscript.exe")},
                                                  {"mshta", KXW("C:\\Windows\\System32\\mshta.exe")}};
  KxTest_ForRows<std::vector<std::string>, KxWString, std::optional<std::string>>(
      "command/script_hosts.txt", [&](const auto& hosts, const auto& line, const auto& script) {
        for (const std::string& host : hosts) {
          const auto path = known.find(host);
          const KxWString program = path != known.end() ? path->second : *KxText_FromUtf8(host);
          EXPECT_EQ(ScriptOf(program.c_str(), line.c_str()), script.value_or("")) << host;
        }
      });
  EXPECT_EQ(ScriptOf(nullptr, KXW("cmd.exe /c a.bat")), "");
}

TEST(ScriptHost, RecordedLines) {
  const char* const folder = std::getenv("KX_SHARED_DATA");
  if (folder == nullptr) GTEST_SKIP() << "KX_SHARED_DATA does not name the folder of recorded data";
  std::ifstream records(std::string(folder) + "/process_events.jsonl");
  if (!records) GTEST_SKIP() << "no process_events.jsonl in " << folder;

  std::set<std::string> found;
  for (std::string record; std::getline(records, record);) {
    const auto event = nlohmann::json::parse(record);
    const auto image = KxText_FromUtf8(event.value("image", ""));
    const auto line = KxText_FromUtf8(event.value("commandLine", ""));
    if (!image || !line) continue;
    const std::string script = ScriptOf(image->c_str(), line->c_str());
    if (!script.empty()) found.insert(script.substr(script.rfind('\\') + 1));
  }
  EXPECT_THAT(found, ElementsAre("MonitorKnowledgeDiscovery.vbs", "MonitorNoHandle.cmd | --scheme", "T1218.005.hta",
                                 "UbdXv.vbs", "WinEventLog.cmd | --scheme", "WinHostMon.cmd | --scheme",
                                 "WinNetMon.cmd | --scheme", "WinPrintMon.cmd | --scheme", "WinRegMon.cmd | --scheme",
                                 "admon.cmd | --scheme", "execute.bat", "gatherNetworkInfo.vbs", "launcher.vbs",
                                 "perfmon.cmd | --scheme", "powershell.cmd | --scheme", "powershell2.cmd | --scheme",
                                 "resume-vm-default.bat", "shell.cmd", "suspend-vm-default.bat"));
}

// What a description makes of it.

CkxTargetInfoPtr Recorded(const WCHAR* program, const WCHAR* line, void* token = nullptr) {
  SkxFileFacts file;
  file.path = program;
  file.size = 1000;
  SkxProcessFacts process;
  process.pid = 4711;
  process.commandLine = line;
  process.services = KXW("Spooler");
  return CkxTargetInfoPtr(new CkxTargetInfoProcess(file, process, token, true));
}

CkxTargetInfoPtr Live(const KxWString& line) {
  SkxProcessFacts process;
  process.commandLine = line;
  return CkxTargetInfoPtr(new CkxTargetInfoProcess(kPowerShell, process, nullptr));
}

const CkxTargetInfoFile* ScriptOf(const CkxTargetInfoPtr& process) {
  return static_cast<const CkxTargetInfoProcess&>(*process).LinkedOfType(EkxPolicyTarget::Script);
}

TEST(HostedScript, IsAProcessOfItsOwn) {
  int token = 0;
  const CkxTargetInfoPtr host = Recorded(kCScript, KXW("cscript //E:jscript C:\\a.txt 1"), &token);
  const CkxTargetInfoFile* const found = ScriptOf(host);
  ASSERT_NE(found, nullptr);
  ASSERT_TRUE(found->IsTargetInfoProcess());
  const auto& script = static_cast<const CkxTargetInfoProcess&>(*found);
  EXPECT_EQ(script.TargetType(), EkxPolicyTarget::Script) << "whatever its extension";
  EXPECT_EQ(KxText_ToUtf8(script.GetPath()), "C:\\a.txt");
  EXPECT_EQ(KxText_ToUtf8(script.CommandLine()), "\"C:\\a.txt\" 1");
  EXPECT_EQ(script.Pid(), 4711u);
  EXPECT_EQ(script.UserToken(), &token);
  EXPECT_TRUE(script.ConstructionFlag());
  EXPECT_EQ(script.GetFileSize(), -1) << "the size of the host is not the script's";
  EXPECT_EQ(KxText_ToUtf8(script.ServiceNames()), "");

  EXPECT_EQ(ScriptOf(host), found) << "made once";
  EXPECT_EQ(&host->GetEffectiveTarget(), host.get());
}

TEST(HostedScript, OnlyALiveHostsScriptIsLookedAt) {
  const CkxTempFolder folder;
  KxWString path = folder.Write("a.ps1", "abc");
  if (path.front() == KXW('/')) path.insert(0, 1, KXW('/'));  // a root that an interpreter knows too
  const KxWString line = KXW("powershell -File \"") + path + KXW("\"");
  EXPECT_EQ(ScriptOf(Live(line))->GetFileSize(), 3);
  EXPECT_EQ(ScriptOf(Recorded(kPowerShell, line.c_str()))->GetFileSize(), -1);

  // Relative to the folder of the process, which need not be the current one here.
  const std::filesystem::path here = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  const int64_t size = ScriptOf(Live(KXW("powershell -File .\\a.ps1")))->GetFileSize();
  const int64_t sizeOfName = ScriptOf(Live(KXW("powershell -File a.ps1")))->GetFileSize();
  std::filesystem::current_path(here);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(sizeOfName, -1);
}

}  // namespace
