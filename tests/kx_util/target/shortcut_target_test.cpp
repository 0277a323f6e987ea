// What shortcuts start, on a machine with the files that they lead to.
#include <gmock/gmock.h>
#include <kx_util/shortcut_target.h>
#include <kx_util/target_info_process.h>

#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/util/text.h"
#include "tests/support/shortcut_bytes.h"
#include "tests/support/temp_folder.h"

namespace {

class ShortcutTarget : public testing::Test {
 protected:
  ShortcutTarget() {
    std::filesystem::create_directory(_folder.Path() / "links");
    for (const char* name : {"tool.exe", "install.ps1", "app.jar", "java.exe", "plain.txt"}) _folder.Write(name, "x");
  }

  KxWString Link(const SkxShortcut& shortcut, const char* name = "a.lnk") const {
    return _folder.Write(std::filesystem::path("links") / name, KxTest_ShortcutBytes(shortcut));
  }

  /// "path|arguments|start folder", the paths from the folder of the test on.
  std::string Resolved(const SkxShortcut& shortcut, const char* name = "a.lnk") const {
    SkxShortcutTarget target;
    if (!KxShortcut_Resolve(Link(shortcut, name).c_str(), nullptr, target)) return "none";
    return Below(target.path) + "|" + KxText_ToUtf8(target.arguments) + "|" + Below(target.startFolder);
  }

  std::string Below(const KxWString& path) const {
    const std::string text = KxText_ToUtf8(path);
    const std::string folder = KxText_ToUtf8(_folder.Text(""));
    return text.starts_with(folder) ? text.substr(folder.size()) : text;
  }

  const CkxTempFolder _folder;
};

TEST_F(ShortcutTarget, IsWhereTheShortcutSaysElseBesideIt) {
  const KxWString tool = _folder.Text("tool.exe");
  const KxWString folder = _folder.Text("links");
  const KxWString missing = _folder.Text("missing.exe");
  EXPECT_EQ(Resolved({tool, KXW("/a \"b c\""), folder, {}}), "tool.exe|/a \"b c\"|links");
  EXPECT_EQ(Resolved({tool, {}, KXW("links"), KXW("..\\java.exe")}), "tool.exe||") << "no full folder";
  EXPECT_EQ(Resolved({missing, KXW("x"), {}, KXW("..\\tool.exe")}), "tool.exe|x|");
  EXPECT_EQ(Resolved({{}, {}, {}, KXW(".\\..\\java.exe")}), "java.exe||");
  for (const SkxShortcut& nowhere :
       {SkxShortcut{missing, {}, {}, {}}, SkxShortcut{missing, {}, {}, KXW("..\\missing.exe")}, SkxShortcut{},
        SkxShortcut{folder, {}, {}, {}},
        SkxShortcut{KXW("CMakeLists.txt"), {}, {}, {}},  // which is in the current folder of this test
        SkxShortcut{KXW("%Unknown%\\tool.exe"), {}, {}, {}}, SkxShortcut{KXW("%"), {}, {}, {}}}) {
    EXPECT_EQ(Resolved(nowhere), "none") << KxText_ToUtf8(nowhere.target);
  }
  EXPECT_EQ(Resolved({tool, {}, {}, {}}, "a.LNK"), "tool.exe||");
  EXPECT_EQ(Resolved({tool, {}, {}, {}}, "a.txt"), "none") << "the shell goes by the name";
  SkxShortcutTarget target;
  EXPECT_FALSE(KxShortcut_Resolve(_folder.Write("no.lnk", "no shortcut").c_str(), nullptr, target));
}

TEST_F(ShortcutTarget, VariablesAreThoseOfTheMachine) {
  class Machine : public IkxMachineFacts {
   public:
    explicit Machine(KxWString windows) : _windows(std::move(windows)) {}
    EkxDriveType DriveType(WCHAR) const override { return EkxDriveType::Fixed; }
    std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
    CkxTextView WindowsFolder() const override { return _windows; }

   private:
    const KxWString _windows;
  };
  const SkxShortcut inWindows = {KXW("%WinDir%/tool.exe"), {}, KXW("%SystemRoot%"), {}};
  EXPECT_EQ(Resolved(inWindows), "none");
  const Machine machine(_folder.Path().string<WCHAR>());
  const CkxMachineFactsScope scope(machine);
  const std::string folder = KxText_ToUtf8(_folder.Path().string<WCHAR>());
  SkxShortcutTarget target;
  ASSERT_TRUE(KxShortcut_Resolve(Link(inWindows).c_str(), nullptr, target));
  EXPECT_EQ(KxText_ToUtf8(target.path), folder + "/tool.exe");
  EXPECT_EQ(KxText_ToUtf8(target.startFolder), folder);
  EXPECT_EQ(Resolved({KXW("%%windir%/tool.exe"), {}, {}, {}}), "none");
}

TEST_F(ShortcutTarget, IsDescribedAsWhatWillRun) {
  const auto described = [&](const SkxShortcut& shortcut) {
    return KxShortcut_Describe(Link(shortcut).c_str(), nullptr);
  };
  const KxWString tool = _folder.Text("tool.exe");
  const CkxTargetInfoPtr program = described({tool, KXW("/quiet"), {}, {}});
  ASSERT_TRUE(program != nullptr && program->IsTargetInfoProcess());
  const auto& process = static_cast<const CkxTargetInfoProcess&>(*program);
  EXPECT_EQ(KxText_ToUtf8(process.CommandLine()), "\"" + KxText_ToUtf8(tool) + "\" /quiet");
  EXPECT_EQ(process.GetFileSize(), 1);
  EXPECT_EQ(&process.GetEffectiveTarget(), &process);

  const CkxTargetInfoPtr java = described({_folder.Text("java.exe"), KXW("-jar app.jar"), _folder.Text("."), {}});
  const auto& carried = static_cast<const CkxTargetInfoProcess&>(*java).Linked();
  ASSERT_EQ(carried.size(), 1u);
  EXPECT_THAT(KxText_ToUtf8(static_cast<const CkxTargetInfoFile&>(*carried[0]).GetPath()),
              testing::EndsWith("app.jar"));

  const CkxTargetInfoPtr script = described({_folder.Text("install.ps1"), KXW("-all"), {}, {}});
  ASSERT_TRUE(script->IsTargetInfoProcess() && script->IsTargetType(EkxPolicyTarget::Script));
  EXPECT_THAT(KxText_ToUtf8(static_cast<const CkxTargetInfoProcess&>(*script).CommandLine()),
              testing::EndsWith(" -all"));
  EXPECT_FALSE(described({_folder.Text("plain.txt"), KXW("x"), {}, {}})->IsTargetInfoProcess());
  EXPECT_EQ(described({_folder.Text("missing.exe"), {}, {}, {}}), nullptr);
}

TEST_F(ShortcutTarget, AShortcutToAShortcutLeadsToThat) {
  const KxWString second = Link({_folder.Text("tool.exe"), {}, {}, {}}, "second.lnk");
  const CkxTargetInfoPtr described = KxShortcut_Describe(Link({second, KXW("/x"), {}, {}}).c_str(), nullptr);
  ASSERT_NE(described, nullptr);
  EXPECT_FALSE(described->IsTargetInfoProcess());
  EXPECT_THAT(KxText_ToUtf8(static_cast<const CkxTargetInfoFile&>(*described).GetPath()),
              testing::EndsWith("second.lnk"));
}

}  // namespace
