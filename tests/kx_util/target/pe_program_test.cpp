// What programs say of how they run: their headers, and the rights that their manifests ask for.
#include "Agent/engine/kx_util/target/pe_program.h"

#include <gtest/gtest.h>
#include <kx_util/target_info_file.h>

#include "Agent/engine/kx_util/target/execution_level.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/target/pe_image.h"
#include "tests/support/data_rows.h"
#include "tests/support/memory_source.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr uint32_t kManifest = 24;

std::optional<std::string> Level(std::string_view manifest) {
  const KxBytes exact(manifest.begin(), manifest.end());
  const std::optional<KxWString> level = KxManifest_ExecutionLevel(exact);
  return level ? std::optional(KxText_ToUtf8(*level)) : std::nullopt;
}

CkxRecordBytes Manifest(const std::string& level) {
  const std::string text = "<assembly><trustInfo><security><requestedPrivileges><requestedExecutionLevel level=\"" +
                           level + "\"/></requestedPrivileges></security></trustInfo></assembly>";
  return CkxRecordBytes().Append(KxBytes(text.begin(), text.end()));
}

TEST(ExecutionLevel, IsAsTheManifestHasIt) {
  KxTest_ForRows<std::string, std::optional<std::string>>(
      "target/manifests.txt", [](const auto& manifest, const auto& level) { EXPECT_EQ(Level(manifest), level); });
}

TEST(ExecutionLevel, ManifestsMayBeMarkedAndWide) {
  const KxBytes narrow = Manifest("highestAvailable").Bytes();
  const std::string text(narrow.begin(), narrow.end());
  EXPECT_EQ(Level("\xEF\xBB\xBF" + text), "highestAvailable");
  std::string wide = "\xFF\xFE";
  for (const char unit : text) wide += {unit, '\0'};
  EXPECT_EQ(Level(wide), "highestAvailable");
  EXPECT_FALSE(Level(wide + "x")) << "half a unit";
  EXPECT_FALSE(Level(wide.substr(2)));
}

TEST(ExecutionLevel, EveryCutIsRefused) {
  const KxBytes whole = Manifest("asInvoker").Bytes();
  for (size_t size = 0; size < whole.size(); ++size) {
    ASSERT_FALSE(Level(std::string(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)))) << size;
  }
}

TEST(ExecutionLevel, DepthAndLengthCostNoMoreThanOnce) {
  std::string deep, open;
  for (int i = 0; i < 60'000; ++i) deep += "<a>", open += "<";
  EXPECT_FALSE(Level(deep));
  EXPECT_FALSE(Level(open));
  EXPECT_FALSE(Level("<assembly a" + std::string(200'000, '=') + "/>"));
}

std::optional<KxWString> LevelOf(const CkxRecordBytes& program) {
  return KxPe_ReadExecutionLevel(CkxMemorySource(program.Bytes()));
}

TEST(ExecutionLevel, IsThatOfTheManifestThatAProgramIsStartedWith) {
  const CkxRecordBytes manifest = Manifest("requireAdministrator");
  EXPECT_EQ(LevelOf(KxTest_PeImage(kTestPe32, manifest, kManifest)), KXW("requireAdministrator"));
  EXPECT_EQ(LevelOf(KxTest_PeImage(kTestPe32Plus, manifest, kManifest)), KXW("requireAdministrator"));
  EXPECT_FALSE(LevelOf(KxTest_PeImage(kTestPe32Plus, manifest, kManifest, 2))) << "of a library";
  EXPECT_FALSE(LevelOf(KxTest_PeImage(kTestPe32Plus, manifest, 16)));
  CkxRecordBytes huge = Manifest("asInvoker");
  const CkxRecordBytes blanks = CkxRecordBytes().Append(KxBytes(256 * 1024, ' '));
  EXPECT_FALSE(LevelOf(KxTest_PeImage(kTestPe32, huge.Append(blanks), kManifest)));
}

TEST(ExecutionLevel, IsAskedOfProgramsThatAreStarted) {
  const KxBytes image = KxTest_PeImage(kTestPe32Plus, Manifest("highestAvailable"), kManifest).Bytes();
  const CkxTempFolder folder;
  const auto level = [&](const char* name) {
    const KxWString path = folder.Write(name, std::string(image.begin(), image.end()));
    const CkxTargetInfoFile file(path.c_str(), nullptr);
    const WCHAR* const text = file.GetRequestedExecutionLevel();
    return text != nullptr ? KxText_ToUtf8(text) : "none";
  };
  EXPECT_EQ(level("tool.EXE"), "highestAvailable");
  EXPECT_EQ(level("tool.dll"), "none");
  EXPECT_EQ(level("tool"), "none");
}

/// A program whose CLR header and metadata stand where its resource is.
CkxRecordBytes Managed(std::string_view version, uint32_t versionBytes) {
  constexpr uint32_t kAddress = SkxTestPeLayout::kAddress + 0x58;
  CkxRecordBytes clr;
  clr.U32(72).U16(2).U16(5).U32(kAddress + 72).U32(100).PadTo(72);
  clr.U32(0x424A5342).U16(1).U16(1).U32(0).U32(versionBytes).Append(KxBytes(version.begin(), version.end()));
  CkxRecordBytes file = KxTest_PeImage(kTestPe32, clr.PadTo(72 + 16 + 12));
  const size_t directory = kTestPe32.directories + 14 * 8;
  return file.SetU16(directory, kAddress).SetU16(directory + 4, 72);
}

TEST(PeProgram, TellsHowItRuns) {
  CkxRecordBytes native = KxTest_PeImage(kTestPe32Plus, KxTest_UsualVersion());
  native.SetU16(SkxTestPeLayout::kOptionalHeader + 68, 3);
  const auto program = KxPe_ReadProgram(CkxMemorySource(native.Bytes()));
  ASSERT_TRUE(program);
  EXPECT_EQ(program->machine, 0x8664);
  EXPECT_EQ(program->subsystem, 3);
  EXPECT_FALSE(program->isManaged);
  EXPECT_FALSE(KxPe_ReadProgram(CkxMemorySource(KxBytes(4096))));
}

TEST(PeProgram, TellsWhichRuntimeItIsFor) {
  const auto runtime = [](const CkxRecordBytes& file) {
    const auto program = KxPe_ReadProgram(CkxMemorySource(file.Bytes()));
    return program && program->isManaged ? KxText_ToUtf8(program->runtimeVersion) : "native";
  };
  EXPECT_EQ(runtime(Managed("v4.0.30319", 12)), "v4.0.30319");
  EXPECT_EQ(runtime(Managed("v2.0.50727\0x", 11)), "v2.0.50727");
  EXPECT_EQ(runtime(Managed("v4.0.30319", 4)), "v4.0");
  EXPECT_EQ(runtime(Managed("v4.0.30319", 0xFFFFFFFF)), "") << "does not fit";
  EXPECT_EQ(runtime(Managed("v\xFF", 12)), "");
  CkxRecordBytes unmarked = Managed("v4.0.30319", 12);
  EXPECT_EQ(runtime(unmarked.SetU16(SkxTestPeLayout::kVersion + 72, 0)), "");
  EXPECT_EQ(runtime(KxTest_PeImage(kTestPe32, KxTest_UsualVersion())), "native");
}

TEST(PeProgram, EveryCutSaysTheSameOrNothing) {
  const KxBytes whole = Managed("v4.0.30319", 12).Bytes();
  for (size_t size = 0; size < whole.size(); ++size) {
    const auto program = KxPe_ReadProgram(CkxMemorySource(whole.data(), size));
    ASSERT_TRUE(!program || program->runtimeVersion.empty()) << size;
  }
}

TEST(PeProgram, ReadsProgramsThatWeDidNotMake) {
  const struct {
    const WCHAR* path;
    uint16_t machine, subsystem;
    const char* level;
  } kPrograms[] = {
      {KXW("/usr/share/win32/win32-loader.exe"), 0x14C, 2, "requireAdministrator"},
      {KXW("/usr/lib/python3/dist-packages/distlib/t64.exe"), 0x8664, 3, "asInvoker"},
      {KXW("/usr/lib/python3/dist-packages/distlib/w64-arm.exe"), 0xAA64, 2, "asInvoker"},
      {KXW("/usr/share/win32/gpgv.exe"), 0x14C, 3, nullptr},
  };
  for (const auto& known : kPrograms) {
    CkxFileReader file;
    if (!file.Open(known.path)) GTEST_SKIP() << "needs the packages gpgv-win32, win32-loader and python3-distlib";
    const CkxTargetInfoFile target(known.path, nullptr);
    SCOPED_TRACE(KxText_ToUtf8(known.path));
    ASSERT_NE(target.Program(), nullptr);
    EXPECT_EQ(target.Program()->machine, known.machine);
    EXPECT_EQ(target.Program()->subsystem, known.subsystem);
    EXPECT_FALSE(target.Program()->isManaged);
    const WCHAR* const level = target.GetRequestedExecutionLevel();
    EXPECT_EQ(level != nullptr ? KxText_ToUtf8(level) : "none", known.level != nullptr ? known.level : "none");
  }
}

}  // namespace
