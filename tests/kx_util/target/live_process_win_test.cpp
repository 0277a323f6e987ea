// What the system's own hosts were started for.
#include <gtest/gtest.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/text.h"
#include "tests/support/stopped_program.h"
#include "tests/support/temp_folder.h"

namespace {

struct Case {
  std::string program;
  std::vector<std::string> arguments;
  EkxPolicyTarget type;
  std::string expected;  ///< "FOLDER" is the process's own, "SYSTEM" the system's; empty: none
};

KxWString SystemFile(const std::string& name) {
  WCHAR folder[MAX_PATH];
  GetSystemDirectoryW(folder, MAX_PATH);
  return KxWString(folder) + L"\\" + *KxText_FromUtf8(name);
}

std::string Replaced(std::string text, const std::string& word, const std::string& by) {
  const size_t at = text.find(word);
  return at == std::string::npos ? text : text.replace(at, word.size(), by);
}

TEST(LiveProcessWin, CarriesWhatItWasStartedFor) {
  const CkxTempFolder folder;
  for (const char* const name : {"a.msi", "a.txt", "a.vbs", "a.bat", "msvcrt.dll", "none.dll"})
    folder.Write(name, "abc");
  const std::string own = KxText_ToUtf8(folder.Text(""));
  const std::string inFolder = own.ends_with('\\') ? own : own + "\\";
  const std::string inSystem = KxText_ToUtf8(SystemFile(""));
  const Case kCases[] = {
      {"msiexec.exe", {"msiexec", "/i", "a.msi", "/qn"}, EkxPolicyTarget::Msi, "FOLDERa.msi"},
      {"msiexec.exe", {"msiexec", "/i", "a.txt"}, EkxPolicyTarget::Msi, "FOLDERa.txt"},
      {"msiexec.exe", {"msiexec", "/V"}, EkxPolicyTarget::Msi, ""},
      {"cscript.exe", {"cscript", "//nologo", "a.vbs", "1"}, EkxPolicyTarget::Script, "FOLDERa.vbs"},
      {"cmd.exe", {"cmd", "/c", "a.bat"}, EkxPolicyTarget::Script, "FOLDERa.bat"},
      {"rundll32.exe", {"rundll32", "msvcrt.dll,Entry"}, EkxPolicyTarget::Dll, "SYSTEMmsvcrt.dll"},
      {"rundll32.exe", {"rundll32", "none.dll,Entry"}, EkxPolicyTarget::Dll, ""},
      {"regsvr32.exe", {"regsvr32", "/s", "\"" + inFolder + "a.txt\""}, EkxPolicyTarget::Dll, "FOLDERa.txt"},
  };
  for (const Case& each : kCases) {
    SCOPED_TRACE(each.program + " " + each.arguments.back());
    const CkxStoppedProgram host(SystemFile(each.program), each.arguments, folder.Text(""));
    EkxProcessLookup lookup = EkxProcessLookup::Refused;
    const CkxTargetInfoPtr target = CkxTargetInfoProcess::CreateFromPid(host.Pid(), lookup);
    ASSERT_EQ(lookup, EkxProcessLookup::Found);
    const auto& process = dynamic_cast<const CkxTargetInfoProcess&>(*target);
    const CkxTargetInfoFile* const carried = process.LinkedOfType(each.type);
    const std::string expected = Replaced(Replaced(each.expected, "FOLDER", inFolder), "SYSTEM", inSystem);
    EXPECT_EQ(carried != nullptr ? KxText_ToUtf8(carried->GetPath()) : "", expected);
    EXPECT_TRUE(carried == nullptr || carried->GetFileSize() > 0);
    EXPECT_EQ(&process.GetEffectiveTarget() == &process, expected.empty());
  }
}

}  // namespace
