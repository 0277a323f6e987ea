#include "Agent/engine/kx_util/command/script_host.h"

#include <gmock/gmock.h>
#include <kx_util/target_info_process.h>

#include <cstdlib>
#include <fstream>
#include <set>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/text.h"
#include "tests/support/temp_folder.h"

namespace {

using testing::ElementsAre;

const WCHAR* const kCmd = KXW("C:\\Windows\\System32\\cmd.exe");
const WCHAR* const kPowerShell = KXW("C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\powershell.exe");
const WCHAR* const kPwsh = KXW("C:\\Program Files\\PowerShell\\7\\pwsh.exe");
const WCHAR* const kCScript = KXW("C:\\Windows\\System32\\cscript.exe");
const WCHAR* const kMsHta = KXW("C:\\Windows\\System32\\mshta.exe");

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

struct Case {
  const WCHAR* line;
  const char* script;  // empty: none
};

/// Each line begins with the interpreter's name, however it got there.
template <size_t Count>
void ExpectScripts(const WCHAR* program, const Case (&cases)[Count]) {
  for (const Case& c : cases) EXPECT_EQ(ScriptOf(program, c.line), c.script) << KxText_ToUtf8(c.line);
}

TEST(ScriptHost, Cmd) {
  constexpr Case kCases[] = {
      {KXW("cmd /c C:\\a.bat"), "C:\\a.bat"},
      {KXW("cmd.exe /C C:\\a.CMD /x  \"y z\""), "C:\\a.CMD | /x  \"y z\""},
      {KXW("\"C:\\Windows\\System32\\cmd.exe\" /k C:\\a.bat"), "C:\\a.bat"},
      {KXW("C:\\Windows\\system32\\cmd.exe  /Q /c C:\\Windows\\TEMP\\execute.bat "), "C:\\Windows\\TEMP\\execute.bat"},
      {KXW("cmd /q/d/c a.bat"), "a.bat"},
      {KXW("cmd /e:on /f:off /v:off /t:0a /a /x /r ..\\a.bat 1"), "..\\a.bat | 1"},
      {KXW("cmd /ca.bat"), "a.bat"},
      {KXW("cmd ,/c;,=a.bat,1"), "a.bat | ,1"},
      {KXW("cmd /c @a.bat"), "a.bat"},
      {KXW("cmd /c call a.bat call"), "a.bat | call"},
      {KXW("cmd /c CALL call \"C:\\my dir\\a.bat\" 1"), "C:\\my dir\\a.bat | 1"},
      {KXW("cmd /c C:\\\"my dir\"\\a.bat 1"), "C:\\my dir\\a.bat | 1"},
      {KXW("cmd /c a.bat/x"), "a.bat | /x"},
      {KXW("cmd /c a.bat 100%"), "a.bat | 100%"},
      {KXW("cmd /c a.bat \"x & y\" ^& ^^"), "a.bat | \"x & y\" ^& ^^"},
      {KXW("cmd /c a!.bat"), "a!.bat"},
      // Quotes around the command, around the script, around both.
      {KXW("cmd /c \"C:\\tools\\shell.cmd\""), "C:\\tools\\shell.cmd"},
      {KXW("cmd /c \"C:\\tools\\shell.cmd /x\" /y"), "C:\\tools\\shell.cmd | /x /y"},
      {KXW("cmd /c \"C:\\my dir\\a.bat\""), "C:\\my dir\\a.bat"},
      {KXW("cmd /c \"C:\\my dir\\a.bat\" 1"), "C:\\my dir\\a.bat | 1"},
      {KXW("cmd /c \"\"C:\\my dir\\a.bat\" --scheme\""), "C:\\my dir\\a.bat | --scheme"},
      {KXW("cmd /s /c \"\"C:\\my dir\\a.bat\"\""), "C:\\my dir\\a.bat"},
      {KXW("cmd /c \"\"C:\\my dir\\a.bat\" \"1 2\"\""), "C:\\my dir\\a.bat | \"1 2\""},
      {KXW("cmd /c \"a.bat"), "a.bat"},
      {KXW("cmd /c \"C:\\my dir\\a.bat\" \"1 2\""), ""},  // runs C:\my
      {KXW("cmd /s /c \"C:\\my dir\\a.bat\""), ""},       // so does this
      {KXW("cmd /c \"a.bat b.bat\""), ""},                // a.bat, unless there is an "a.bat b.bat"
      {KXW("cmd /c \"a.bat x\\..\\..\\b.exe\""), ""},     // the same, with a way out
      {KXW("cmd /s /c \"a.bat b.bat\""), "a.bat | b.bat"},
      // Not that script, or not that script alone.
      {KXW("cmd"), ""},
      {KXW("cmd a.bat"), ""},
      {KXW("cmd x /c a.bat"), ""},
      {KXW("cmd /q a.bat"), ""},
      {KXW("cmd /c"), ""},
      {KXW("cmd /"), ""},
      {KXW("cmd /c \""), ""},
      {KXW("cmd /c call"), ""},
      {KXW("cmd /c whoami"), ""},
      {KXW("cmd /c a"), ""},
      {KXW("cmd /c a.vbs"), ""},
      {KXW("cmd /c @\"call\" a.bat"), ""},  // a program of that name
      {KXW("cmd /c start a.bat"), ""},
      {KXW("cmd /c C:/dir/a.bat"), ""},
      {KXW("cmd /c a.bat & evil.exe"), ""},
      {KXW("cmd /c a.bat&evil.exe"), ""},
      {KXW("cmd /c a.bat || evil.exe"), ""},
      {KXW("cmd /c a.bat > C:\\Windows\\win.ini"), ""},
      {KXW("cmd /c a.bat ^^& evil.exe"), ""},
      {KXW("cmd /c a.bat \"x\" & \"y"), ""},
      {KXW("cmd /c \"\"a.bat\" & \"evil.exe\"\""), ""},
      {KXW("cmd /c (a.bat)"), ""},
      {KXW("cmd /c a^.bat"), ""},
      {KXW("cmd /c a.bat^.exe"), ""},
      {KXW("cmd /c \"a & b.bat\""), ""},
      {KXW("cmd /c %TEMP%\\a.bat"), ""},
      {KXW("cmd /c a.bat %X%"), ""},
      {KXW("cmd /v:on /c !X!.bat"), ""},
      {KXW("cmd /c a.bat 1\nevil.exe"), ""},
      {KXW("cmd /c a<.bat"), ""},
  };
  ExpectScripts(kCmd, kCases);
}

/// What both take alike.
TEST(ScriptHost, BothPowerShells) {
  constexpr Case kCases[] = {
      {KXW("powershell -File C:\\a.ps1"), "C:\\a.ps1"},
      {KXW("powershell.exe -NoProfile -ExecutionPolicy Bypass -File \"C:\\my dir\\a.ps1\" -Name \"x y\" 'z'"),
       "C:\\my dir\\a.ps1 | -Name \"x y\" 'z'"},
      {KXW("powershell /f a.PS1 ; evil"), "a.PS1 | ; evil"},  // texts, all of them
      {KXW("powershell -noe -nol -noni -nop -w hidden -ep bypass -fi a.ps1"), "a.ps1"},
      {KXW("powershell -sta -ex bypass -o text -of xml -if text -inp text -config x -ea QQ== -Fil a.ps1 1"),
       "a.ps1 | 1"},
      {KXW("powershell --file a.ps1"), "a.ps1"},
      {KXW("powershell \u2013NoProfile \u2015file a.ps1"), "a.ps1"},
      {KXW("powershell \"-file\" \"a.ps1\""), "a.ps1"},
      {KXW("powershell -File a.ps1 -File b.ps1"), "a.ps1 | -File b.ps1"},
      {KXW("powershell -f C:\\it's.ps1"), "C:\\it's.ps1"},
      {KXW("powershell -Command C:\\a.ps1"), "C:\\a.ps1"},
      {KXW("powershell -c \"& 'C:\\my dir\\a.ps1' -Name 'x y'\""), "C:\\my dir\\a.ps1 | -Name 'x y'"},
      {KXW("powershell -c & 'C:\\my dir\\a.ps1'  -Name  x"), "C:\\my dir\\a.ps1 | -Name x"},
      {KXW("powershell -c \"&'C:\\it''s.ps1'\""), "C:\\it's.ps1"},
      {KXW("powershell -c \". \\\"C:\\my dir\\a.ps1\\\" \\\"x y\\\"\""), "C:\\my dir\\a.ps1 | \"x y\""},
      {KXW("powershell -com .'a.ps1'"), "a.ps1"},
      {KXW("powershell -c .\\a.ps1 $env:X @(1)"), ""},
      {KXW("powershell -c .\\a.ps1 $env:X,2 '(;)'"), ".\\a.ps1 | $env:X,2 '(;)'"},
      // Not that script, or not that script alone.
      {KXW("powershell"), ""},
      {KXW("powershell -File"), ""},
      {KXW("powershell -File -"), ""},
      {KXW("powershell -File a.txt"), ""},
      {KXW("powershell -File \"\" a.ps1"), ""},
      {KXW("powershell -ExecutionPolicy a.ps1"), ""},
      {KXW("powershell -no -File a.ps1"), ""},
      {KXW("powershell -filex a.ps1"), ""},
      {KXW("powershell -help -File a.ps1"), ""},
      {KXW("powershell -EncodedCommand QQA= -File a.ps1"), ""},
      {KXW("powershell -e a.ps1"), ""},
      {KXW("powershell -enc QQA="), ""},
      {KXW("powershell -Command -"), ""},
      {KXW("powershell -c"), ""},
      {KXW("powershell -c &"), ""},
      {KXW("powershell -c Get-Service a.ps1"), ""},
      {KXW("powershell -c 'C:\\a.ps1'"), ""},  // a text
      {KXW("powershell -c \"& 'C:\\a.ps1\""), ""},
      {KXW("powershell -c & 'a.ps1'b.ps1"), ""},
      {KXW("powershell -c \"& { .\\a.ps1 }\""), ""},
      {KXW("powershell -c .\\a.ps1; evil"), ""},
      {KXW("powershell -c .\\a.ps1 | evil"), ""},
      {KXW("powershell -c .\\a.ps1 (evil)"), ""},
      {KXW("powershell -c \".\\a.ps1 \\\"$(evil)\\\"\""), ""},
      {KXW("powershell -c .\\a.ps1 > C:\\Windows\\win.ini"), ""},
      {KXW("powershell -c \".\\a.ps1 '\u2019; evil '\u2019\""), ""},  // four quotes
      {KXW("powershell -c \".\\a.ps1 'x\""), ""},
      {KXW("powershell -c \".\\a.ps1\nevil\""), ""},
      {KXW("powershell -c & $x\\a.ps1"), ""},
      {KXW("powershell -c \"& \\\"$x\\a.ps1\\\"\""), ""},
      {KXW("powershell -c & a?.ps1"), ""},
      {KXW("powershell -c C:\\a.ps1\u00A0b.ps1"), ""},
      {KXW("powershell -c C:\\a.bat"), ""},
  };
  ExpectScripts(kPowerShell, kCases);
  ExpectScripts(kPwsh, kCases);
}

TEST(ScriptHost, EachPowerShellItsOwnWay) {
  constexpr struct {
    const WCHAR* line;
    const char* windows;
    const char* pwsh;
  } kCases[] = {
      {KXW("x C:\\a.ps1 ; 1"), "", "C:\\a.ps1 | ; 1"},
      {KXW("x C:\\a.ps1 1"), "C:\\a.ps1 | 1", "C:\\a.ps1 | 1"},
      {KXW("x \"C:\\my dir\\a.ps1\" 1"), "", "C:\\my dir\\a.ps1 | 1"},
      {KXW("x \"& 'C:\\my dir\\a.ps1'\" 1"), "C:\\my dir\\a.ps1 | 1", ""},
      {KXW("x -nop \". a.ps1\""), "a.ps1", ". a.ps1"},  // a name like any other
      {KXW("x -Version 2 -PSConsoleFile x.psc1 -i text -imp -File a.ps1"), "a.ps1", ""},
      {KXW("x -i -l -cus pipe -settings x.json -wd C:\\ -wo D:\\ a.ps1"), "", "a.ps1"},
      {KXW("x -ConfigurationFile x.pssc -NoProfileLoadTime -File a.ps1"), "", "a.ps1"},
      {KXW("x -v 2 -File a.ps1"), "a.ps1", ""},
      {KXW("x -cwa a.ps1"), "", ""},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(ScriptOf(kPowerShell, c.line), c.windows) << KxText_ToUtf8(c.line);
    EXPECT_EQ(ScriptOf(kPwsh, c.line), c.pwsh) << KxText_ToUtf8(c.line);
  }
}

TEST(ScriptHost, WindowsScriptHost) {
  constexpr Case kCases[] = {
      {KXW("cscript C:\\a.vbs"), "C:\\a.vbs"},
      {KXW("\"C:\\Windows\\System32\\CScript.exe\" \"C:\\my dir\\a.vbs\" "), "C:\\my dir\\a.vbs"},
      {KXW("cscript /nologo \"a.vbs\" //B /x \"y z\""), "a.vbs | //B /x \"y z\""},
      {KXW("cscript //B //D //I //Job:x //T:10 //U a.wsf 1"), "a.wsf | 1"},
      {KXW("cscript a.JSE"), "a.JSE"},
      {KXW("cscript a.wsh a.vbs"), "a.wsh | a.vbs"},
      {KXW("cscript //E:vbscript a.txt 1"), "a.txt | 1"},
      {KXW("cscript /e:jscript a"), "a"},
      {KXW("cscript a.txt 1 //e:jscript"), "a.txt | 1 //e:jscript"},
      {KXW("cscript C:\\a.txt:b.vbs"), "C:\\a.txt:b.vbs"},
      {KXW("cscript"), ""},
      {KXW("cscript //nologo"), ""},
      {KXW("cscript a.txt"), ""},
      {KXW("cscript a.txt a.vbs"), ""},
      {KXW("cscript a.txt /E:jscript"), ""},  // an argument of the script's
      {KXW("cscript //E:vbscript"), ""},
      {KXW("cscript //E:vbscript \"\""), ""},
      {KXW("cscript a.bat"), ""},
      {KXW("cscript \"a\\\"b.vbs\""), ""},
  };
  ExpectScripts(kCScript, kCases);
  ExpectScripts(KXW("C:\\Windows\\SysWOW64\\wscript.exe"), kCases);
}

TEST(ScriptHost, HtmlApplications) {
  constexpr Case kCases[] = {
      {KXW("mshta C:\\a.hta"), "C:\\a.hta"},
      {KXW("\"C:\\Windows\\System32\\mshta.exe\" \"\\\\server\\share\\my dir\\a.HTA\" {1E}"),
       "\\\\server\\share\\my dir\\a.HTA | {1E}"},
      {KXW("mshta a.hta"), "a.hta"},
      {KXW("mshta"), ""},
      {KXW("mshta a.html"), ""},
      {KXW("mshta https://example.com/a.hta"), ""},
      {KXW("mshta javascript:evil();//a.hta"), ""},
      {KXW("mshta vbscript:Close(Execute(\"GetObject(\"\"a.hta\"\")\"))"), ""},
  };
  ExpectScripts(kMsHta, kCases);
}

/// A machine of which only the place of the system may be known.
struct Machine : IkxMachineFacts {
  explicit Machine(const WCHAR* folder) : windowsFolder(folder) {}
  EkxDriveType DriveType(WCHAR) const override { return EkxDriveType::Unknown; }
  std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
  CkxTextView WindowsFolder() const override { return windowsFolder; }
  const KxWString windowsFolder;
};

TEST(ScriptHost, OnlyOnTheSystemsDriveWhereItIsKnown) {
  const struct {
    const WCHAR* windowsFolder;
    const WCHAR* program;
    const char* script;
  } kCases[] = {
      {KXW("C:\\Windows"), kCmd, "a.bat"},
      {KXW("c:\\Windows"), KXW("\\\\?\\C:\\Windows\\System32\\cmd.exe"), "a.bat"},
      {KXW("C:\\Windows"), KXW("D:\\Windows\\System32\\cmd.exe"), ""},
      {KXW("C:\\Windows"), KXW("\\\\server\\share\\Windows\\System32\\cmd.exe"), ""},
      {KXW("D:\\Windows"), KXW("D:\\Windows\\System32\\cmd.exe"), "a.bat"},
      {KXW("D:\\Windows"), kCmd, ""},
  };
  for (const auto& c : kCases) {
    const Machine machine(c.windowsFolder);
    const CkxMachineFactsScope scope(machine);
    EXPECT_EQ(ScriptOf(c.program, KXW("cmd.exe /c a.bat")), c.script)
        << KxText_ToUtf8(c.program) << " in " << KxText_ToUtf8(c.windowsFolder);
  }
  const Machine machine(KXW("C:\\Windows"));
  const CkxMachineFactsScope scope(machine);
  EXPECT_EQ(ScriptOf(kPwsh, KXW("pwsh a.ps1")), "a.ps1");
  EXPECT_EQ(ScriptOf(KXW("D:\\Program Files\\PowerShell\\7\\pwsh.exe"), KXW("pwsh a.ps1")), "");
}

TEST(ScriptHost, OnlyTheSystemsOwnInterpreters) {
  const Machine machine(KXW(""));
  const CkxMachineFactsScope scope(machine);
  constexpr struct {
    const WCHAR* program;
    bool known;
  } kCases[] = {
      {KXW("c:/windows/SYSTEM32/Cmd.exe"), true},
      {KXW("D:\\Windows\\SysWOW64\\cmd.exe"), true},
      {KXW("\\\\?\\C:\\Windows\\System32\\cmd.exe"), true},
      {KXW("C:\\Windows\\cmd.exe"), false},
      {KXW("C:\\Windows\\System32\\Tasks\\cmd.exe"), false},
      {KXW("C:\\Users\\u\\Windows\\System32\\cmd.exe"), false},
      {KXW("\\\\server\\Windows\\System32\\cmd.exe"), false},
      {KXW("C:\\Windows\\System32\\..\\..\\Users\\u\\cmd.exe"), false},
      {KXW("C:\\Windows\\System32\\cmd2.exe"), false},
      {KXW("C:\\W\u0131ndows\\System32\\cmd.exe"), false},
      {KXW("C:\\Windows\\Sy\u017Ftem32\\cmd.exe"), false},
      {KXW("cmd.exe"), false},
      {KXW(""), false},
      {nullptr, false},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(ScriptOf(c.program, KXW("cmd.exe /c a.bat")), c.known ? "a.bat" : "") << KxText_ToUtf8(c.program);
  }
  for (const WCHAR* pwsh :
       {kPwsh, KXW("C:\\Program Files (x86)\\PowerShell\\7-preview\\pwsh.exe"),
        KXW("C:\\Program Files\\WindowsApps\\Microsoft.PowerShell_7.4.1.0_x64__8wekyb\\pwsh.exe")}) {
    EXPECT_EQ(ScriptOf(pwsh, KXW("pwsh a.ps1")), "a.ps1") << KxText_ToUtf8(pwsh);
  }
  EXPECT_EQ(ScriptOf(KXW("C:\\Program Files\\PowerShell\\7\\..\\..\\..\\Users\\u\\pwsh.exe"), KXW("pwsh a.ps1")), "");
  EXPECT_EQ(ScriptOf(KXW("C:\\Users\\u\\.dotnet\\tools\\pwsh.exe"), KXW("pwsh a.ps1")), "");
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
  EXPECT_EQ(static_cast<const CkxTargetInfoProcess&>(*host).LinkedOfType(EkxPolicyTarget::Dll), nullptr);
  EXPECT_EQ(&host->GetEffectiveTarget(), host.get());
  EXPECT_EQ(ScriptOf(Recorded(kCScript, KXW("cscript"))), nullptr);
  EXPECT_EQ(ScriptOf(Recorded(KXW("C:\\cscript.exe"), KXW("cscript a.vbs"))), nullptr);
}

TEST(HostedScript, WhatWasLinkedGoesFirst) {
  const CkxTargetInfoPtr host = Recorded(kCmd, KXW("cmd /c C:\\a.bat"));
  SkxFileFacts linked;
  linked.path = KXW("C:\\b.bat");
  EXPECT_EQ(KxText_ToUtf8(ScriptOf(host)->GetPath()), "C:\\a.bat");
  static_cast<CkxTargetInfoProcess&>(*host).AddLinked(CkxTargetInfoPtr(new CkxTargetInfoFile(linked, nullptr)));
  EXPECT_EQ(KxText_ToUtf8(ScriptOf(host)->GetPath()), "C:\\b.bat");
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
