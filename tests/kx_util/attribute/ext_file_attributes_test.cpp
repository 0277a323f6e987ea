// The operations on files: on the system's own attributes where it keeps any, and on the fake of Windows' everywhere.
#include <gmock/gmock.h>
#include <kx_util/ext_file_attributes.h>

#include <algorithm>
#include <functional>
#include <map>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/text.h"
#include "tests/support/ea_fixture.h"
#include "tests/support/trace_capture.h"

namespace {

using Ea = CkxExtFileAttributes;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* kAgent = "KXAgentSupData";
constexpr const char* kHash = "$KERNEL.PURGE.KXFH";

/// A driver helper for the length of a test.
class DriverScope {
 public:
  explicit DriverScope(Ea::DrvEaHelper helper) { Ea::SetDrvEaHelper(helper); }
  ~DriverScope() { Ea::SetDrvEaHelper(nullptr); }
  DriverScope(const DriverScope&) = delete;
  DriverScope& operator=(const DriverScope&) = delete;
};

/// A file open by the table in force.
class OpenFile {
 public:
  explicit OpenFile(const KxWString& path, unsigned access = KxEaRead | KxEaWrite) {
    EXPECT_GE(KxNativeEa().open(path, access, _file), 0);
  }
  ~OpenFile() { KxNativeEa().close(_file); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  void* Handle() const { return reinterpret_cast<void*>(_file); }

 private:
  intptr_t _file = -1;
};

std::map<std::string, std::string> Listed(const Ea& list) {
  std::map<std::string, std::string> found;
  CkxFileFullEaInfo info;
  for (Ea::POSITION at = list.GetHeadPosition(); at != nullptr;) {
    if (!list.GetNext(at, info, found.size() % 2 == 0)) break;
    found[info.Name()] = std::string(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
  }
  return found;
}

class ExtFileAttributes : public CkxEaFixture {
 protected:
  void SetUp() override {
    CkxEaFixture::SetUp();
    if (IsSkipped()) return;
    _path = _folder->Write("file", "content");
  }
  void TearDown() override { EXPECT_EQ(_fake ? _fake->OpenFiles() : 0, 0u); }
  const WCHAR* Path() const { return _path.c_str(); }
  Ea::DrvEaHelper Driver() const { return _fake ? CkxFakeNativeEa::Driver : Ea::NativeDrvEaHelper(); }

  std::string Value(const char* name) const {
    CkxFileFullEaInfo info;
    if (!Ea::GetFromFile(Path(), name, info)) return "(none)";
    return std::string(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
  }
  std::map<std::string, std::string> All() const {
    Ea list;
    EXPECT_TRUE(list.LoadAllFromFile(Path()));
    return Listed(list);
  }

  KxWString _path;
};

TEST_P(ExtFileAttributes, KeepsWhatItIsGiven) {
  long status = -1;
  EXPECT_TRUE(All().empty());
  EXPECT_EQ(Ea::GetEaSize(Path()), 0u);
  CkxFileFullEaInfo info;
  EXPECT_FALSE(Ea::GetFromFile(Path(), kAgent, info, &status));
  EXPECT_EQ(status, kKxStatusNoEasOnFile);

  ASSERT_TRUE(Ea::SetToFile(Path(), kAgent, "<a/>", false, &status));
  EXPECT_EQ(status, 0);
  ASSERT_TRUE(Ea::SetToFile(Path(), "KXAgentUri", KXW("h"), false));
  EXPECT_EQ(Value("kxagentsupdata"), std::string("<a/>", 5)) << "in letters of any case, with its zero";
  EXPECT_EQ(All(), (std::map<std::string, std::string>{{"KXAGENTSUPDATA", std::string("<a/>", 5)},
                                                       {"KXAGENTURI", std::string("h\0\0\0", 4)}}));
  EXPECT_GE(Ea::GetEaSize(Path()), 28u + 24u) << "records of 9 + 14 + 5 and 9 + 10 + 4 bytes, chained on 4";
  EXPECT_FALSE(Ea::GetFromFile(Path(), "KxDrvSupData", info, &status)) << "where there are others";
  EXPECT_EQ(status, kKxStatusNoEasOnFile);

  ASSERT_TRUE(Ea::SetToFile(Path(), "KXAGENTSUPDATA", "new", false));
  EXPECT_EQ(Value(kAgent), std::string("new", 4)) << "in place of the old one";
  EXPECT_EQ(All().size(), 2u);

  EXPECT_TRUE(Ea::DeleteFromFile(Path(), "KXagentSUPDATA"));
  EXPECT_EQ(Value(kAgent), "(none)");
  EXPECT_TRUE(Ea::DeleteFromFile(Path(), kAgent)) << "one that is not there";
  ASSERT_TRUE(info.Set("KXAgentUri", static_cast<const char*>(nullptr), 0));
  EXPECT_TRUE(Ea::SetToFile(Path(), info, false)) << "an empty value removes";
  EXPECT_TRUE(All().empty());
}

TEST_P(ExtFileAttributes, TheSameThroughAHandle) {
  const OpenFile file(_path);
  long status = -1;
  CkxFileFullEaInfo info;
  ASSERT_TRUE(Ea::SetToFile(file.Handle(), "N", "v", &status));
  EXPECT_EQ(status, 0);
  ASSERT_TRUE(Ea::SetToFile(file.Handle(), "W", KXW("w"), &status));
  ASSERT_TRUE(Ea::GetFromFile(file.Handle(), "n", info, &status));
  EXPECT_STREQ(info.Name(), "N");
  EXPECT_TRUE(info.IsOwned());
  unsigned long size = 0;
  EXPECT_TRUE(Ea::GetEaSize(file.Handle(), size, &status));
  EXPECT_EQ(size, Ea::GetEaSize(file.Handle()));
  Ea list;
  EXPECT_TRUE(list.LoadAllFromFile(file.Handle(), &status));
  EXPECT_EQ(Listed(list).size(), 2u);
  EXPECT_TRUE(Ea::DeleteFromFile(file.Handle(), "N", &status));
  EXPECT_FALSE(Ea::GetFromFile(file.Handle(), "N", info, &status));
  EXPECT_EQ(status, kKxStatusNoEasOnFile);

  // One of a list, at whatever address.
  std::vector<unsigned char> attached = {0xEE, 16, 0, 0, 0, 0, 1, 1, 0, 'L', 0, 7};
  ASSERT_TRUE(info.Attach(attached.data() + 1, 11));
  EXPECT_TRUE(Ea::SetToFile(file.Handle(), info));
  EXPECT_EQ(Value("L"), "\x07");
}

TEST_P(ExtFileAttributes, ValuesOfEverySizeUpToTheLimit) {
  for (const size_t size : {size_t{1}, size_t{4096}, size_t{65'500}}) {
    SCOPED_TRACE(size);
    const std::string value(size, '\x80');
    CkxFileFullEaInfo info;
    ASSERT_TRUE(
        info.Set("BIG", reinterpret_cast<const unsigned char*>(value.data()), static_cast<unsigned short>(size), 0));
    ASSERT_TRUE(Ea::SetToFile(Path(), info, false));
    EXPECT_EQ(Value("BIG"), value);
    EXPECT_EQ(All().at("BIG"), value);
  }
  const std::string most(65'534, 'v');
  long status = 0;
  const bool isTaken = Ea::SetToFile(Path(), "BIG", most.c_str(), false, &status);
  EXPECT_EQ(isTaken, !_fake.has_value()) << "the record holds it, the fake's file system does not";
  EXPECT_EQ(status, isTaken ? kKxStatusSuccess : kKxStatusEaTooLarge);
  EXPECT_EQ(Value("BIG").size(), isTaken ? 65'535u : 65'500u);
}

TEST_P(ExtFileAttributes, DeletesAllAndByAPartOfTheName) {
  const DriverScope driver(Driver());
  const auto fill = [&] {
    EXPECT_TRUE(Ea::SetToFile(Path(), kAgent, "a", false));
    EXPECT_TRUE(Ea::SetToFile(Path(), "X$kernel.purge.", "a", false));
    const OpenFile file(_path);
    for (const char* const name : {kHash, "$KERNEL.PURGE.KXSBJCN"}) {
      EXPECT_TRUE(Ea::DrvSetToFile(file.Handle(), name, "cached"));
    }
    EXPECT_EQ(All().size(), 4u);
  };
  fill();
  EXPECT_TRUE(Ea::DeleteFromFileByPrefix(Path(), "$Kernel.Purge."));
  EXPECT_EQ(All(), (std::map<std::string, std::string>{{"KXAGENTSUPDATA", std::string("a", 2)}}))
      << "anywhere in the name";
  fill();
  EXPECT_TRUE(Ea::DeleteAllFromFile(Path()));
  EXPECT_TRUE(All().empty());
  EXPECT_TRUE(Ea::DeleteAllFromFile(Path())) << "of none";
  long status = 0;
  EXPECT_FALSE(Ea::DeleteFromFileByPrefix(Path(), "", false, &status));
  EXPECT_FALSE(Ea::DeleteFromFileByPrefix(Path(), nullptr));
  EXPECT_EQ(status, kKxStatusInvalidParameter);
}

TEST_P(ExtFileAttributes, KernelNamesAreTheDriversAlone) {
  const OpenFile file(_path);
  long status = 0;
  EXPECT_FALSE(Ea::DrvSetEnabled());
  EXPECT_FALSE(Ea::SetToFile(Path(), kHash, "forged", false, &status));
  EXPECT_EQ(status, kKxStatusAccessDenied);
  EXPECT_FALSE(Ea::SetToFile(file.Handle(), "$kernel.x", "forged"));
  EXPECT_FALSE(Ea::DrvSetToFile(file.Handle(), kHash, "early", &status));
  EXPECT_EQ(status, kKxStatusNotSupported);
  EXPECT_TRUE(All().empty());

  const DriverScope driver(Driver());
  EXPECT_TRUE(Ea::DrvSetEnabled());
  EXPECT_TRUE(Ea::DrvSetToFile(file.Handle(), kHash, "hash", &status));
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(Ea::DrvSetToFile(file.Handle(), "$KERNEL.PURGE.KXSBJCN", KXW("cn")));
  EXPECT_EQ(Value(kHash), std::string("hash", 5)) << "beside another that was set later";
  EXPECT_TRUE(Ea::SetToFile(Path(), kHash, "by the driver", false));
  EXPECT_EQ(Value(kHash), std::string("by the driver", 14));
  EXPECT_TRUE(Ea::DeleteFromFile(Path(), kHash));
  EXPECT_EQ(All().size(), 1u);
}

TEST_P(ExtFileAttributes, ADriverThatRefuses) {
  const DriverScope driver([](void*, const void*, unsigned long) { return static_cast<long>(0xC0000022); });
  const OpenFile file(_path);
  const CkxTraceCapture trace;
  long status = 0;
  EXPECT_FALSE(Ea::DrvSetToFile(file.Handle(), kHash, "v", &status));
  EXPECT_EQ(status, kKxStatusAccessDenied);
  EXPECT_THAT(trace.Texts(), ElementsAre("KXT_ERROR CkxExtFileAttributes: ERROR: SetKernelEa failed. "
                                         "EaName=[$KERNEL.PURGE.KXFH], Status=0xC0000022"));
}

TEST_P(ExtFileAttributes, SaysWhatItCannotDo) {
  const std::string file = KxText_ToUtf8(_path);
  const std::string missing = file + "-missing";
  const KxWString noFile = _path + KXW("-missing");
  CkxFileFullEaInfo info;
  const auto error = [](const std::string& line) { return "KXT_ERROR CkxExtFileAttributes: ERROR: " + line; };
  struct {
    std::function<bool(long*)> call;
    long status;
    std::string line;
  } const kCases[] = {
      {[&](long* s) { return Ea::GetFromFile(KXW(""), "N", info, s); }, kKxStatusInvalidParameter,
       error("File path is NULL or empty")},
      {[&](long* s) { return Ea::DeleteAllFromFile(static_cast<const WCHAR*>(nullptr), false, s); },
       kKxStatusInvalidParameter, error("File path is NULL or empty")},
      {[&](long* s) { return Ea::GetFromFile(Path(), nullptr, info, s); }, kKxStatusInvalidParameter,
       error("EA Name is NULL or empty")},
      {[&](long* s) { return Ea::SetToFile(Path(), "", "v", false, s); }, kKxStatusInvalidParameter,
       error("EA Name is NULL or empty")},
      {[&](long* s) { return Ea::DeleteFromFileByPrefix(Path(), "", false, s); }, kKxStatusInvalidParameter,
       error("Name is NULL or empty")},
      {[&](long* s) { return Ea::SetToFile(Path(), CkxFileFullEaInfo(), false, s); }, kKxStatusInvalidParameter,
       error("Invalid EA. File [" + file + "], Status=0xC000000D")},
      {[&](long* s) { return Ea::SetToFile(Path(), "a:b", "v", false, s); }, kKxStatusInvalidEaName,
       error("Invalid EA. File [" + file + "], Status=0x80000013")},
      {[&](long* s) { return Ea::GetFromFile(Path(), "a*", info, s); }, kKxStatusInvalidEaName,
       error("Query EA failed. File [" + file + "], EaName=[a*], Status=0x80000013")},
      {[&](long* s) { return Ea::DeleteFromFile(Path(), "a*", false, s); }, kKxStatusInvalidEaName,
       error("Delete EA failed. File [" + file + "], EaName=[a*], Status=0x80000013")},
      {[&](long* s) { return Ea::SetToFile(Path(), kHash, "v", false, s); }, kKxStatusAccessDenied,
       error("Set EA failed. File [" + file + "], EaName=[$KERNEL.PURGE.KXFH], Status=0xC0000022")},
      {[&](long* s) { return Ea::SetToFile(noFile.c_str(), "N", "v", true, s); }, kKxStatusObjectNameNotFound,
       error("Failed to open file [" + missing + "], err: 2, Status=0xC0000034")},
      {[&](long* s) { return Ea::GetFromFile(static_cast<void*>(nullptr), "N", info, s); }, kKxStatusInvalidParameter,
       error("Invaild param(s). fileHandle=-1, EaName=[N], Status=0xC000000D")},
      {[&](long* s) { return Ea::DeleteFromFile(reinterpret_cast<void*>(0x7FFF'0000), "N", s); },
       kKxStatusInvalidHandle, error("DeleteFromFile failed. EaName=[N], Status=0xC0000008")},
      {[&](long* s) { return Ea::SetToFile(reinterpret_cast<void*>(0x7FFF'0000), "N", "v", s); },
       kKxStatusInvalidHandle, error("SetEaFile failed. EaName=[N], Status=0xC0000008")},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.line);
    const CkxTraceCapture trace;
    long status = 0;
    EXPECT_FALSE(row.call(&status));
    EXPECT_EQ(status, row.status);
    ASSERT_FALSE(trace.Texts().empty());
    EXPECT_THAT(trace.Texts(), Contains(row.line));
    EXPECT_FALSE(row.call(nullptr));
  }
}

/// Callers are told by the last error why the file cannot be opened, and by the status that there is no such attribute.
TEST_P(ExtFileAttributes, ATraceLeavesTheLastErrorAndAnAbsentOneIsNoError) {
  const CkxTraceCapture trace;
  CkxFileFullEaInfo info;
  EXPECT_FALSE(Ea::GetFromFile((_path + KXW("-missing")).c_str(), "N", info));
  EXPECT_EQ(KxLastError_Get(), kKxErrorFileNotFound);
  for (const auto& line : trace.Lines())
    EXPECT_EQ(line.level, line.message.starts_with("__EA__") ? EkxTraceLevel::Debug : EkxTraceLevel::Error);
  CkxTraceCapture absent;
  EXPECT_FALSE(Ea::GetFromFile(Path(), "N", info));
  EXPECT_THAT(absent.Texts(), Contains("KXT_DEBUG CkxExtFileAttributes: EaName=[N] doesn't exist"));
  EXPECT_THAT(absent.Texts(), Each(testing::StartsWith("KXT_DEBUG")));
}

INSTANTIATE_TEST_SUITE_P(Of, ExtFileAttributes, kKxTestEaKinds, CkxEaFixture::NameOf);

// --- what only a file system that does as it is told can show ---

class FakedExtFileAttributes : public testing::Test {
 protected:
  const WCHAR* Path() const { return _path.c_str(); }
  CkxFakeNativeEa::File& File() { return _fake.At(_path); }

  CkxFakeNativeEa _fake;
  const CkxTempFolder _folder;
  const KxWString _path = _folder.Write("file", "content");
};

TEST_F(FakedExtFileAttributes, AReadOnlyFileIsReadOnlyAgainWhateverHappens) {
  File().isReadOnly = true;
  long status = 0;
  EXPECT_FALSE(Ea::SetToFile(Path(), "N", "v", false, &status)) << "nobody allowed to change it";
  EXPECT_EQ(status, kKxStatusAccessDenied);
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_TRUE(Ea::SetToFile(Path(), "N", "v", true, &status));
  EXPECT_TRUE(File().isReadOnly);
  _fake.setStatus = kKxStatusDiskFull;
  EXPECT_FALSE(Ea::SetToFile(Path(), "N", "w", true, &status));
  EXPECT_EQ(status, kKxStatusDiskFull);
  EXPECT_TRUE(File().isReadOnly) << "after a failure";
  _fake.setStatus = 0;
  EXPECT_TRUE(Ea::DeleteAllFromFile(Path(), true));
  EXPECT_TRUE(File().isReadOnly);

  _fake.refuseWritesAfter = 0;
  const CkxTraceCapture trace;
  EXPECT_FALSE(Ea::SetToFile(Path(), "N", "v", true, &status));
  EXPECT_TRUE(File().isReadOnly) << "after a second refusal";
  EXPECT_EQ(KxLastError_Get(), kKxErrorAccessDenied);
  EXPECT_THAT(trace.Texts(), Contains("KXT_ERROR CkxExtFileAttributes: __EA__: CkxExtFileAttributes::SetToFile(). "
                                      "ERROR: Failed to open file even after changing file attributes, err: 5"));
  EXPECT_EQ(_fake.OpenFiles(), 0u);
}

TEST_F(FakedExtFileAttributes, WhatCannotBeDeletedDoesNotKeepTheOthers) {
  for (const char* const name : {"A1", "A2", "A3"}) ASSERT_TRUE(Ea::SetToFile(Path(), name, "v", false));
  File().locked = {"A2"};
  const std::string file = KxText_ToUtf8(_path);
  {
    const CkxTraceCapture trace;
    long status = 0;
    EXPECT_FALSE(Ea::DeleteFromFileByPrefix(Path(), "A1", false) &&
                 Ea::DeleteFromFileByPrefix(Path(), "a", false, &status));
    EXPECT_EQ(status, kKxStatusAccessDenied);
    EXPECT_THAT(trace.Texts(), Contains("KXT_WARNING CkxExtFileAttributes: WARNING: Failed to delete EA attribute 'A2'"
                                        "  from file [" +
                                        file + "]"));
  }
  ASSERT_EQ(File().eas.size(), 1u);
  ASSERT_TRUE(Ea::SetToFile(Path(), "A3", "v", false));
  const CkxTraceCapture trace;
  EXPECT_FALSE(Ea::DeleteAllFromFile(Path()));
  EXPECT_EQ(File().eas.size(), 1u);
  EXPECT_THAT(trace.Texts(),
              Contains("KXT_ERROR CkxExtFileAttributes: __EA__: CkxExtFileAttributes::DeleteAllFromFile(). "
                       "ERROR: Failed to delete some or all EAs from file [" +
                       file + "]"));
}

/// A system that takes the deletion of a kernel attribute and does nothing.
TEST_F(FakedExtFileAttributes, ADeletionThatWasIgnoredIsNone) {
  File().eas = {{kHash, {1}}};
  long status = 0;
  EXPECT_FALSE(Ea::DeleteFromFile(Path(), kHash, false, &status));
  EXPECT_EQ(status, kKxStatusAccessDenied);
  const DriverScope driver(CkxFakeNativeEa::Driver);
  EXPECT_TRUE(Ea::DeleteFromFile(Path(), kHash, false, &status));
  EXPECT_TRUE(File().eas.empty());
}

TEST_F(FakedExtFileAttributes, NothingIsCalledOnASystemWithoutKernelAttributes) {
  _fake.hasKernelEas = false;
  const DriverScope driver([](void*, const void*, unsigned long) {
    ADD_FAILURE() << "was called";
    return 0L;
  });
  const OpenFile file(_path);
  EXPECT_FALSE(Ea::KernelExtAttrSupportedByOS() || Ea::DrvSetEnabled());
  EXPECT_FALSE(Ea::DrvSetToFile(file.Handle(), kHash, "v"));
  EXPECT_FALSE(Ea::SetToFile(file.Handle(), kHash, "v"));
  EXPECT_TRUE(File().eas.empty());
}

/// Whatever a file system answers is judged before it is believed.
TEST_F(FakedExtFileAttributes, AnswersThatAreNoRecords) {
  using Bytes = CkxFakeNativeEa::Bytes;
  const Bytes other = {0, 0, 0, 0, 0, 1, 1, 0, 'M', 0, 7};
  const Bytes cut = {0, 0, 0, 0, 0, 1, 9, 0, 'N', 0, 7};
  const Bytes endless = {4, 0, 0, 0, 0, 1, 1, 0, 'N', 0, 7};
  CkxFileFullEaInfo info;
  Ea list;
  ASSERT_TRUE(Ea::SetToFile(Path(), "N", "v", false) && list.LoadAllFromFile(Path()));
  for (const Bytes& answer : {other, cut, Bytes()}) {
    File().answer = answer;
    const CkxTraceCapture trace;
    long status = 0;
    EXPECT_FALSE(Ea::GetFromFile(Path(), "N", info, &status));
    EXPECT_EQ(status, kKxStatusEaCorrupt);
    EXPECT_THAT(trace.Texts(), Contains(HasSubstr("ERROR: Failed to parse EA buffer. EaName=[N]")));
  }
  for (const Bytes& answer : {cut, endless}) {
    File().answer = answer;
    long status = 0;
    EXPECT_FALSE(list.LoadAllFromFile(Path(), &status));
    EXPECT_EQ(status, kKxStatusEaCorrupt);
    EXPECT_THAT(Listed(list), IsEmpty()) << "no half list, nor the old one";
    EXPECT_FALSE(Ea::DeleteAllFromFile(Path()));
  }
  _fake.sizeStatus = kKxStatusUnsuccessful;
  const CkxTraceCapture trace;
  unsigned long size = 7;
  EXPECT_FALSE(Ea::GetEaSize(Path(), size));
  EXPECT_EQ(size, 7u);
  EXPECT_EQ(Ea::GetEaSize(Path()), 0u);
  EXPECT_THAT(trace.Texts(),
              Contains("KXT_ERROR CkxExtFileAttributes: ERROR: Query FileEaInformation failed. Status=0xC0000001"));
}

}  // namespace
