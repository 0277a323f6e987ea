// Who has no right to write what is kept with a file and may grant it to itself has it for the write, and not a moment
// longer: on fakes of Windows' attributes and rights on every system.
#include <gmock/gmock.h>
#include <kx_util/supplemental_file_data.h>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/util/byte_cursor.h"
#include "tests/support/failing_native_ea.h"
#include "tests/support/fake_native_access.h"
#include "tests/support/fake_native_ea.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_capture.h"

namespace {

using Data = CkxSupplementalFileData;
using Bytes = CkxFakeNativeAccess::Bytes;

/// Everybody is denied to write attributes; the rights are the folder's, by hand.
const Bytes kDenied = {
    1, 0, 0x04, 0x85, 0,    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0, 0,  //
    2, 0, 0x1C, 0,    1,    0, 0, 0,                                       //
    1, 0, 0x14, 0,    0x10, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0,  0, 0, 0,  //
};

/// What a system does with such a list: what is wanted is crossed off, entry by entry, until one denies some of it.
/// Entries are everybody's or the user's own.
bool MayWriteAttributes(std::span<const unsigned char> descriptor) {
  uint32_t wanted = 0x18;
  size_t at = 28;
  for (size_t left = KxBytes_U16(descriptor, 24); left != 0 && wanted != 0; --left) {
    const uint32_t rights = KxBytes_U32(descriptor, at + 4);
    if (descriptor[at] == 1 && (rights & wanted) != 0) return false;
    if (descriptor[at] == 0) wanted &= ~rights;
    at += KxBytes_U16(descriptor, at + 2);
  }
  return wanted == 0;
}

class KeptAccess : public testing::Test {
 protected:
  KeptAccess() {
    _access.onSet = [this](const CkxFakeNativeAccess::File& file) {
      if (&file == _rights.get()) _fake.At(_file).isDenied = !MayWriteAttributes(file.descriptor);
    };
  }
  /// A file that nobody may write what is kept with.
  void Prepare() {
    _fake.At(_file) = {};
    _fake.At(_file).isDenied = true;
    _rights = std::make_shared<CkxFakeNativeAccess::File>();
    _rights->descriptor = kDenied;
    _access.At(_file) = _rights;
    _access.calls = 0;
    _access.failAt = SIZE_MAX;
  }
  bool Write() const {
    CkxFileOrigin origin;
    origin.Preexisted() = true;
    return Data(origin).ToFile(_file.c_str());
  }
  bool IsKept() { return !_fake.At(_file).eas.empty(); }

  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _file = _folder.Write("file", "content");
  CkxFakeNativeEa _fake;
  CkxFakeNativeAccess _access;
  std::shared_ptr<CkxFakeNativeAccess::File> _rights;
};

TEST_F(KeptAccess, IsGrantedForTheWriteAndTakenBack) {
  Prepare();
  ASSERT_FALSE(MayWriteAttributes(kDenied));
  ASSERT_TRUE(Write());
  EXPECT_TRUE(IsKept());
  ASSERT_EQ(_rights->set.size(), 2u);
  const Bytes& granted = _rights->set.front();
  EXPECT_TRUE(MayWriteAttributes(granted));
  const CkxSid user = KxToken_User(nullptr).value();
  ASSERT_EQ(granted.size(), kDenied.size() + 8 + user.Size());
  EXPECT_EQ(Bytes(granted.begin() + 36, granted.begin() + 36 + static_cast<ptrdiff_t>(user.Size())),
            Bytes(user.Bytes(), user.Bytes() + user.Size()));
  EXPECT_EQ(_rights->set.back(), kDenied);
  EXPECT_TRUE(_fake.At(_file).isDenied);
  EXPECT_EQ(_access.OpenFiles(), 0u);
}

TEST_F(KeptAccess, IsLeftAloneWhereItIsThere) {
  Prepare();
  _fake.At(_file).isDenied = false;
  EXPECT_TRUE(Write());
  EXPECT_EQ(_access.calls, 0u);
}

/// Whichever of the calls for attributes fails, when the right was granted or before.
TEST_F(KeptAccess, IsTakenBackWhateverFails) {
  Prepare();
  size_t calls = 0;
  {
    const CkxFailingNativeEa counting;
    ASSERT_TRUE(Write());
    calls = counting.Calls();
  }
  size_t grants = 0;
  for (size_t failAt = 0; failAt < calls; ++failAt) {
    SCOPED_TRACE(failAt);
    Prepare();
    const CkxFailingNativeEa failing(failAt, kKxStatusDiskFull);
    EXPECT_FALSE(Write() && !IsKept());
    EXPECT_EQ(_rights->descriptor, kDenied);
    EXPECT_EQ(_access.OpenFiles(), 0u);
    EXPECT_EQ(_fake.OpenFiles(), 0u);
    if (!_rights->set.empty()) ++grants;
  }
  EXPECT_GT(grants, 2u);
}

/// Of the calls for rights: opening, reading, granting, putting back.
TEST_F(KeptAccess, IsNotGrantedWhereItCouldNotBePutBack) {
  const struct {
    size_t failAt;
    bool isWritten;
    std::vector<std::string> error;
  } kRows[] = {
      {0, false, {}},
      {1, false, {") access restore failed. Original SecurityDescriptor is NULL."}},
      {2, false, {}},
      {3, true, {") access restore failed. LastError=5"}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.failAt);
    Prepare();
    _access.failAt = row.failAt;
    const CkxTraceCapture trace;
    EXPECT_EQ(Write(), row.isWritten);
    EXPECT_EQ(IsKept(), row.isWritten);
    EXPECT_EQ(_rights->set.size(), row.isWritten ? 1u : 0u);
    for (const std::string& error : row.error) {
      EXPECT_THAT(trace.Texts(), testing::Contains("KXT_ERROR CkxSupplementalFileData: ERROR: SetFileSecurity(" +
                                                   KxText_ToUtf8(_file) + error));
    }
    EXPECT_EQ(_access.OpenFiles(), 0u);
  }
  Prepare();
  _rights->descriptor[2] = 0;  // nobody is denied anything by a list
  EXPECT_FALSE(Write());
  EXPECT_TRUE(_rights->set.empty());
}

/// What takes the file's name meanwhile is left alone.
TEST_F(KeptAccess, IsTakenBackFromTheFileThatItWasGrantedFor) {
  Prepare();
  const auto other = std::make_shared<CkxFakeNativeAccess::File>();
  const auto onSet = _access.onSet;
  _access.onSet = [&](const CkxFakeNativeAccess::File& file) {
    onSet(file);
    _access.At(_file) = other;
  };
  EXPECT_TRUE(Write());
  EXPECT_EQ(_rights->descriptor, kDenied);
  EXPECT_TRUE(other->set.empty());
}

}  // namespace
