// Each of the system's calls fails in turn, at every step of every operation: a file has what it had, or what it was to
// have, and is marked as it was.
#include <gtest/gtest.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>

#include <functional>

#include "Agent/engine/kx_util/origin/sup_file_data_util.h"
#include "Common_CPP/file/file.h"
#include "tests/support/failing_native_ea.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/runtime_folder_scope.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"

namespace {

using Data = CkxSupplementalFileData;

CkxFileOrigin OriginOfTime(uint64_t time) {
  CkxFileOrigin origin;
  origin.Installer().InstallTime() = time;
  return origin;
}

class KeptFaults : public testing::Test {
 protected:
  using Eas = decltype(CkxFakeNativeEa::File::eas);

  struct Faulty {
    const char* name;
    EkxSignatureForm form;  ///< of what is kept before
    std::function<bool()> operation;
    bool mayStopHalfway;  ///< between two attributes: what it does is one after the other
  };

  /// All three records, with what tells one file's from another's.
  void Keep(const KxWString& path, uint64_t time, const WCHAR* address, EkxSignatureForm form) {
    const uint64_t id = KxFile_Status(path).value().identity.file;
    std::string agent;
    std::string driver = "<KxDrvData version=\"1\" kxDataId=\"\"><FileModify time=\"" + std::to_string(time) +
                         "\"/><Process order=\"0\"><Path>w.exe</Path></Process></KxDrvData>";
    CkxFakeNativeEa::Bytes url;
    ASSERT_TRUE(CkxSupFileDataUtil::OriginToStr(OriginOfTime(time), id, agent, form));
    ASSERT_TRUE(CkxDrvXmlData::Sign(driver, id, form) && CkxSrcUrlData(address).ToBytes(url, form));
    _fake.At(path) = {};
    _fake.At(path).eas = {{"KXAGENTSUPDATA", CkxFakeNativeEa::ValueOf(agent)},
                          {"KXDRVSUPDATA", CkxFakeNativeEa::ValueOf(driver)},
                          {"KXAGENTURI", url}};
    _fake.At(path).isReadOnly = true;
  }
  /// As it was before each operation.
  void Prepare(EkxSignatureForm form) {
    Keep(_file, 1, KXW("a:b"), form);
    Keep(_other, 2, KXW("c:d"), form);
  }
  std::pair<Eas, Eas> State() { return {_fake.At(_file).eas, _fake.At(_other).eas}; }

  /// What the operation does where no call fails, and how many there are.
  std::pair<Eas, Eas> Done(const Faulty& faulty, size_t& calls) {
    Prepare(faulty.form);
    const CkxFailingNativeEa counting;
    EXPECT_TRUE(faulty.operation());
    calls = counting.Calls();
    return State();
  }
  bool DoneWithFailure(const Faulty& faulty, size_t failAt, long status) {
    Prepare(faulty.form);
    const CkxFailingNativeEa failing(failAt, status);
    return faulty.operation();
  }

  const CkxRuntimeFolderScope _machine;
  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _file = _folder.Write("file", "content");
  const KxWString _other = _folder.Write("other", "content");
  CkxFakeNativeEa _fake;
};

TEST_F(KeptFaults, LeaveWhatWasThereOrWhatWasToBe) {
  using enum EkxSignatureForm;
  const WCHAR* const file = _file.c_str();
  const Faulty operations[] = {
      {"set", Keyed, [&] { return Data(OriginOfTime(3)).ToFile(file); }, false},
      {"copy", Keyed, [&] { return Data::Copy(file, _other.c_str()); }, false},
      {"copy what is of the older form", Older, [&] { return Data::Copy(file, _other.c_str()); }, false},
      {"migrate", Older, [&] { return Data::ToFileForSignatureMigration(file); }, false},
      {"migrate with the address", Older, [&] { return Data::UpdateSignature(file); }, false},
      {"migrate what is migrated", Keyed, [&] { return Data::UpdateSignature(file); }, false},
      {"delete", Keyed, [&] { return Data::DeleteFromFile(file); }, true},
      {"delete all", Keyed, [&] { return CkxExtFileAttributes::DeleteAllFromFile(file, true); }, true},
      {"read", Keyed, [&] { return Data().FromFile(file); }, false},
      {"read what is of the older form", Older, [&] { return Data().FromFile(file); }, false},
  };
  for (const Faulty& faulty : operations) {
    SCOPED_TRACE(faulty.name);
    Prepare(faulty.form);
    const std::pair<Eas, Eas> before = State();
    size_t calls = 0;
    const std::pair<Eas, Eas> after = Done(faulty, calls);
    ASSERT_GT(calls, 3u);
    for (const long status : {kKxStatusUnsuccessful, kKxStatusAccessDenied, kKxStatusNoMemory}) {
      for (size_t failAt = 0; failAt < calls; ++failAt) {
        SCOPED_TRACE("call " + std::to_string(failAt) + ", " + KxStatus_Text(status));
        const bool isDone = DoneWithFailure(faulty, failAt, status);
        const std::pair<Eas, Eas> state = State();
        if (!faulty.mayStopHalfway) {
          EXPECT_TRUE(state == (isDone ? after : before) || (!isDone && state == after));
        }
        for (const auto& [name, value] : state.first) {
          const auto isKept = [&, &kept = name, &bytes = value](const Eas& eas) {
            return std::find(eas.begin(), eas.end(), std::pair(kept, bytes)) != eas.end();
          };
          EXPECT_TRUE(isKept(before.first) || isKept(after.first)) << name;
        }
        EXPECT_EQ(_fake.OpenFiles(), 0u);
        EXPECT_TRUE(_fake.At(_file).isReadOnly && _fake.At(_other).isReadOnly);
      }
    }
  }
}

/// Whatever call of a migration fails, the records that are there can be read afterwards, and migrated in the end.
TEST_F(KeptFaults, AMigrationCanBeDoneAgain) {
  const Faulty migration = {"migrate", EkxSignatureForm::Older, [&] { return Data::UpdateSignature(_file.c_str()); },
                            false};
  size_t calls = 0;
  const std::pair<Eas, Eas> after = Done(migration, calls);
  for (size_t failAt = 0; failAt < calls; ++failAt) {
    SCOPED_TRACE(failAt);
    DoneWithFailure(migration, failAt, kKxStatusUnsuccessful);
    Data data;
    EXPECT_TRUE(data.FromFile(_file.c_str()));
    EXPECT_EQ(data.Origin().Installer().InstallTime(), 1u);
    EXPECT_EQ(data.DriverRecord(), EkxKeptRecord::Read);
    EXPECT_TRUE(migration.operation());
    EXPECT_EQ(State(), after);
  }
}

}  // namespace
