// The record of a URI on a file, on the fake of Windows' attributes on every system.
#include <gmock/gmock.h>
#include <kx_util/src_url_data.h>

#include "Common_CPP/registry/registry.h"
#include "Common_CPP/util/nt_status.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::ElementsAre;

const WCHAR* const kSetup = KXW("https://example.com/setup.exe");

class UrlOnFake : public testing::Test {
 protected:
  using Bytes = CkxFakeNativeEa::Bytes;

  static Bytes Record(EkxSignatureForm form = EkxSignatureForm::Keyed) {
    Bytes record;
    EXPECT_TRUE(CkxSrcUrlData(kSetup).ToBytes(record, form));
    return record;
  }
  /// What is kept with the file: its one attribute.
  Bytes Kept() {
    const auto& eas = _fake.At(_path).eas;
    if (eas.empty()) return {};
    EXPECT_EQ(eas.size(), 1u);
    EXPECT_EQ(eas[0].first, "KXAGENTURI");
    return eas[0].second;
  }
  void Keep(const Bytes& record) { _fake.At(_path).eas = {{"KXAGENTURI", record}}; }
  const WCHAR* Path() const { return _path.c_str(); }

  const CkxRuntimeFolderScope _machine;
  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _path = _folder.Write("setup.exe", "content");
  CkxFakeNativeEa _fake;
};

TEST_F(UrlOnFake, IsKeptAndRead) {
  const Bytes record = Record();
  ASSERT_TRUE(CkxSrcUrlData(kSetup).ToFile(Path()));
  EXPECT_EQ(Kept(), record);
  CkxSrcUrlData read;
  ASSERT_TRUE(read.FromFile(Path()));
  EXPECT_EQ(read.Uri(), CkxUtilStr(kSetup));

  intptr_t file = -1;
  ASSERT_GE(KxNativeEa().open(_path, KxEaRead | KxEaWrite, file), 0);
  void* const handle = reinterpret_cast<void*>(file);
  ASSERT_TRUE(CkxSrcUrlData(KXW("a:b")).ToFile(handle));
  ASSERT_TRUE(read.FromFile(handle));
  EXPECT_EQ(read.Uri(), CkxUtilStr(KXW("a:b")));
  KxNativeEa().close(file);

  EXPECT_TRUE(CkxSrcUrlData::DeleteFromFile(Path()));
  EXPECT_TRUE(Kept().empty());
  EXPECT_TRUE(CkxSrcUrlData::DeleteFromFile(Path())) << "there is none any more";
  const CkxTraceCapture trace;
  EXPECT_FALSE(read.FromFile(Path()));
  EXPECT_TRUE(read.IsEmpty());
  for (const CkxTraceCapture::Line& line : trace.Lines()) {
    EXPECT_TRUE(line.scope != "CkxSrcUrlData" || line.level == EkxTraceLevel::Debug) << "no fault of the file";
  }
}

TEST_F(UrlOnFake, WhatFailsLeavesWhatWasThere) {
  Keep(Record());
  const auto said = [](const auto& operation) {
    const CkxTraceCapture trace;
    EXPECT_FALSE(operation());
    return trace.Lines().back().message;
  };
  CkxSrcUrlData other(KXW("a:b"));
  const std::string file = "File [" + KxText_ToUtf8(_path) + "]. status=";
  for (const auto& [status, error] :
       {std::pair(kKxStatusAccessDenied, "5"), {kKxStatusDiskFull, "112"}, {-1L, "317"}}) {
    _fake.setStatus = status;
    EXPECT_EQ(said([&] { return other.ToFile(Path()); }), "ERROR: Failed to set EA. " + file + error);
  }
  EXPECT_EQ(said([&] { return CkxSrcUrlData::DeleteFromFile(Path()); }), "ERROR: Failed to delete EA. " + file + "317");
  _fake.setStatus = 0;
  EXPECT_EQ(said([&] { return CkxSrcUrlData().ToFile(Path()); }), "ERROR: URI is empty.");
  for (const intptr_t none : {0, -1}) {
    EXPECT_EQ(said([&] { return other.ToFile(reinterpret_cast<void*>(none)); }), "ERROR: Invalid file handle.");
  }
  EXPECT_EQ(Kept(), Record());

  Bytes changed = Record();
  changed[10] ^= 1;
  Keep(changed);
  EXPECT_EQ(said([&] { return other.FromFile(Path()); }), "ERROR: Integrity check failed for signature");
  EXPECT_TRUE(other.IsEmpty());
}

TEST_F(UrlOnFake, IsSignedAnewOnce) {
  CkxSrcUrlData data;
  bool isOlder = false;
  Keep(Record(EkxSignatureForm::Older));
  ASSERT_TRUE(data.FromFileMigration(Path(), isOlder));
  EXPECT_TRUE(isOlder);
  ASSERT_TRUE(CkxSrcUrlData::OverwriteSignature(Path()));
  EXPECT_EQ(Kept(), Record());
  ASSERT_TRUE(data.FromFileMigration(Path(), isOlder));
  EXPECT_FALSE(isOlder);
  _fake.setStatus = kKxStatusAccessDenied;
  EXPECT_TRUE(CkxSrcUrlData::OverwriteSignature(Path())) << "nothing is to be done";
  _fake.setStatus = 0;

  const WCHAR* const upgrade = KXW("Software\\QuennartUpgrade\\Agent");
  ASSERT_TRUE(KxRegistry_SetText(upgrade, KXW("MigrationStatus"), KXW("Completed")));
  Keep(Record(EkxSignatureForm::Older));
  EXPECT_FALSE(CkxSrcUrlData::OverwriteSignature(Path())) << "who comes late is not believed";
  EXPECT_EQ(Kept(), Record(EkxSignatureForm::Older));
  ASSERT_TRUE(KxRegistry_Remove(upgrade, KXW("MigrationStatus")));
}

}  // namespace
