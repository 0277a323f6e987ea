#include <kx_util/target_info_file.h>

#include <gtest/gtest.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/text.h"
#include "tests/kx_util/target/pe_image.h"
#include "tests/support/data_rows.h"
#include "tests/support/recorded_facts.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"
#include "tests/support/utf8.h"

namespace {

constexpr const char* kSha256OfAbc = "SHA256##BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";

TEST(TargetInfoFile, LongNamesAreNamesLikeAnyOther) {
  const KxWString longName(5000, KXW('n'));
  SkxFileFacts facts;
  facts.versionInfo = {{longName, KXW("long")}, {longName + KXW("2"), KXW("longer")}};
  const CkxTargetInfoFile file(facts, nullptr);
  for (size_t size = 40; size < 70; ++size) {  // around the room that a key has on the stack
    EXPECT_EQ(file.GetVersionInfo(KxWString(size, KXW('n')).c_str()), nullptr);
  }
  EXPECT_EQ(KxTest_Utf8(file.GetVersionInfo(longName.c_str())), "long");
  EXPECT_EQ(KxTest_Utf8(file.GetVersionInfo((longName + KXW("2")).c_str())), "longer");
}

TEST(TargetInfoFile, TypesFollowTheExtension) {
  KxTest_ForRows<KxWString, uint64_t>("path/types.txt", [](const auto& path, uint64_t type) {
    EXPECT_EQ(static_cast<uint64_t>(CkxTargetInfoFile::TypeOfPath(path.c_str())), type);
  });
  EXPECT_EQ(CkxTargetInfoFile::TypeOfPath(nullptr), EkxPolicyTarget{});
}

TEST(TargetInfoFile, ALiveFileIsLookedAtOnce) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", "abc");
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_EQ(file.TargetType(), EkxPolicyTarget::Executable);
  EXPECT_EQ(file.GetFileSize(), 3);
  EXPECT_EQ(KxTest_Utf8(file.GetHashStringUsing(KXW("sha256"))), kSha256OfAbc);
  EXPECT_EQ(KxTest_Utf8(file.GetHashStringUsing(KXW("MD5"))), "MD5##900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(file.GetHashStringUsing(KXW("CRC32")), nullptr);
  CkxUtilStr both;
  EXPECT_TRUE(file.GetAlgorithmAndHashString(both));
  EXPECT_EQ(KxTest_Utf8(both.String()), kSha256OfAbc);
  EXPECT_GT(file.GetModificationTime(), 116444736000000000);  // 1970
  EXPECT_TRUE(file.GetOwner() != nullptr && file.GetOwner()->IsValid());
  EXPECT_NE(file.GetOwnerDomainUserName(), nullptr);
  EXPECT_EQ(file.GetVersionStr(), nullptr);

  folder.Write("tool.exe", "changed");
  EXPECT_EQ(file.GetFileSize(), 3);
  EXPECT_EQ(KxTest_Utf8(file.GetHashStringUsing(KXW("SHA256"))), kSha256OfAbc);
}

TEST(TargetInfoFile, OneReadOfALiveFileGivesAllHashesThatPoliciesAskFor) {
  const CkxTempFolder folder;
  const KxWString first = folder.Write("first", "abc");
  const KxWString second = folder.Write("second", "abc");
  for (const WCHAR* algorithm : {KXW("SHA256"), KXW("MD5")}) {
    EXPECT_NE(CkxTargetInfoFile(first.c_str(), nullptr).GetHashStringUsing(algorithm), nullptr);
  }
  const CkxTargetInfoFile file(second.c_str(), nullptr);
  EXPECT_EQ(KxTest_Utf8(file.GetHashStringUsing(KXW("SHA256"))), kSha256OfAbc);
  folder.Write("second", "xyz");
  EXPECT_EQ(KxTest_Utf8(file.GetHashStringUsing(KXW("MD5"))), "MD5##900150983CD24FB0D6963F7D28E17F72");
}

/// What takes the place of a file is never looked at: its facts are those of the one that was opened, or none.
TEST(TargetInfoFile, AllFactsAreOfTheFileThatWasOpenedFirst) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", "abc");
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_EQ(file.GetFileSize(), 3);
  std::filesystem::rename(folder.Path() / "tool.exe", folder.Path() / "moved.exe");
  folder.Write("tool.exe", "another");
  {
    const CkxEntryScope evaluation;
    const std::string hash = KxTest_Utf8(file.GetHashStringUsing(KXW("SHA256")));
    const bool hasFailed = KxFault_Current() == EkxEvaluationFault::TargetChanged;
    EXPECT_EQ(hash, hasFailed ? "<null>" : kSha256OfAbc) << "some systems take another name for a change of the file";
  }
  EXPECT_TRUE(file.GetOwner() != nullptr && file.GetOwner()->IsValid());
}

TEST(TargetInfoFile, AFileOverTheLimitHasNoHashWhichIsTold) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", "abc");
  const uint64_t before = KxUtil_HashLimit();
  for (const uint64_t limit : {uint64_t{3}, uint64_t{2}}) {
    KxUtil_SetHashLimit(limit);
    const CkxTraceCapture trace;
    const CkxEntryScope evaluation;
    EXPECT_EQ(CkxTargetInfoFile(path.c_str(), nullptr).GetHashStringUsing(KXW("SHA256")) != nullptr, limit == 3);
    EXPECT_EQ(trace.Texts().size(), limit == 3 ? 0u : 1u);
    EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::None);
  }
  KxUtil_SetHashLimit(before);
}

TEST(TargetInfoFile, HashingIsSpentAndWhatWasGivenUpIsNotMissing) {
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", std::string(1'000'000, 'x'));
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  const uint64_t before = KxUtil_WorkLimit();
  KxUtil_SetWorkLimit(1'000);
  {
    const CkxEntryScope evaluation;
    EXPECT_EQ(file.GetHashStringUsing(KXW("SHA256")), nullptr);
    EXPECT_EQ(KxFault_Current(), EkxEvaluationFault::WorkLimit);
  }
  KxUtil_SetWorkLimit(before);
  const CkxEntryScope evaluation;
  EXPECT_NE(file.GetHashStringUsing(KXW("SHA256")), nullptr);
}

TEST(TargetInfoFile, WhatWasMissingStaysMissing) {
  const CkxTempFolder folder;
  const CkxTargetInfoFile file(folder.Text("late.exe").c_str(), nullptr);
  const auto seesNothing = [&file] {
    CkxUtilStr both;
    return file.GetFileSize() == -1 && file.GetModificationTime() == 0 && file.GetOwner() == nullptr &&
           file.GetHashStringUsing(KXW("SHA256")) == nullptr && !file.GetAlgorithmAndHashString(both);
  };
  EXPECT_TRUE(seesNothing());
  folder.Write("late.exe", "abc");
  EXPECT_TRUE(seesNothing());
  EXPECT_EQ(CkxTargetInfoFile(folder.Text("late.exe").c_str(), nullptr).GetFileSize(), 3);
}

TEST(TargetInfoFile, ALiveProgramTellsItsVersion) {
  const KxBytes image = KxTest_PeImage(kTestPe32Plus, KxTest_UsualVersion()).Bytes();
  const CkxTempFolder folder;
  const KxWString path = folder.Write("tool.exe", std::string(image.begin(), image.end()));
  const CkxTargetInfoFile file(path.c_str(), nullptr);
  EXPECT_TRUE(file.GetVersion().IsEqual(1, 2, 3, 4));
  EXPECT_EQ(KxTest_Utf8(file.GetVersionStr()), "1.2.3.4");
  EXPECT_EQ(KxTest_Utf8(file.GetVersionInfo(KXW("companyname"))), "Vendor Inc.");
  EXPECT_EQ(KxTest_Utf8(file.GetProductVersionStr()), "5.6 beta");
  EXPECT_EQ(KxTest_Utf8(file.GetEmbeddedDescription()), "Tool");
  EXPECT_EQ(file.GetProductName(), nullptr);
}

TEST(TargetInfoFile, LiesInATemporaryFolder) {
  static constexpr struct {
    const WCHAR* path;
    bool isTemporary;
  } kRows[] = {
      {KXW("c:\\users\\Ann\\AppData\\Local\\TEMP\\a.exe"), true},
      {KXW("C:\\Windows\\Temp\\sub\\a.exe"), true},
      {KXW("\\\\?\\C:\\Windows\\Temp\\a.exe"), true},
      {KXW("/var/tmp/a"), true},
      {KXW("C:\\Windows\\Temp\\..\\System32\\a.exe"), false},
      {KXW("C:\\Windows\\Temporary\\a.exe"), false},
      {KXW("\\\\server\\share\\Temp\\a.exe"), false},
      {KXW(""), false},
  };
  for (const auto& row : kRows) {
    const CkxTargetInfoFile file(KxTest_FileAt(row.path), nullptr);
    EXPECT_EQ(file.IsInTempDir(), row.isTemporary) << KxTest_Utf8(row.path);
  }
}

}  // namespace
