// The system's own calls for extended attributes, on a system that may keep none: files are opened and marked all the
// same, and what cannot be done is told by its status.
#include <gtest/gtest.h>

#include "Common_CPP/file/ea_record.h"
#include "Common_CPP/file/native_ea.h"
#include "Common_CPP/util/handle_win.h"
#include "tests/support/temp_folder.h"

namespace {

bool IsWindows8() {
  OSVERSIONINFOEXW least{};
  least.dwOSVersionInfoSize = sizeof(least);
  least.dwMajorVersion = 6;
  least.dwMinorVersion = 2;
  const DWORDLONG atLeast = VerSetConditionMask(VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL),
                                                VER_MINORVERSION, VER_GREATER_EQUAL);
  return VerifyVersionInfoW(&least, VER_MAJORVERSION | VER_MINORVERSION, atLeast) != 0;
}

class NativeEaOfWindows : public testing::Test {
 protected:
  long Open(const KxWString& path, unsigned access) { return _system.open(path, access, _file); }
  void TearDown() override { _system.close(_file); }

  const SkxNativeEa& _system = KxNativeEa_OfSystem();
  const CkxTempFolder _folder;
  const KxWString _path = _folder.Write("file", "content");
  intptr_t _file = -1;
};

TEST_F(NativeEaOfWindows, OpensWhatIsThere) {
  EXPECT_EQ(Open(_path + L"-missing", KxEaRead), kKxStatusObjectNameNotFound);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
  EXPECT_EQ(Open(L"", KxEaRead), kKxStatusObjectNameNotFound);
  EXPECT_EQ(Open(_path + KxWString(1, L'\0') + L"x", KxEaRead), kKxStatusObjectNameNotFound)
      << "not what it begins with";
  EXPECT_EQ(Open(_folder.Text("missing") + L"\\file", KxEaRead), kKxStatusObjectPathNotFound);
  EXPECT_EQ(_file, -1);
  ASSERT_EQ(Open(_folder.Path().wstring(), KxEaRead), kKxStatusSuccess) << "folders too";
}

TEST_F(NativeEaOfWindows, ReadOnlyIsOneMarkOfSeveral) {
  ASSERT_TRUE(SetFileAttributesW(_path.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
  ASSERT_EQ(Open(_path, KxEaAttributes), kKxStatusSuccess);
  bool isReadOnly = false;
  EXPECT_EQ(_system.isReadOnly(_file, isReadOnly), kKxStatusSuccess);
  EXPECT_TRUE(isReadOnly);
  const DWORD before = GetFileAttributesW(_path.c_str());
  EXPECT_EQ(_system.setReadOnly(_file, false), kKxStatusSuccess);
  EXPECT_EQ(GetFileAttributesW(_path.c_str()), before & ~DWORD{FILE_ATTRIBUTE_READONLY});
  EXPECT_EQ(_system.setReadOnly(_file, true), kKxStatusSuccess);
  EXPECT_EQ(GetFileAttributesW(_path.c_str()), before);
  EXPECT_EQ(_system.setReadOnly(_file, false), kKxStatusSuccess) << "so that the folder can be removed";
}

/// Either the system keeps the attribute, or it says that it does not.
TEST_F(NativeEaOfWindows, AsksTheSystem) {
  ASSERT_EQ(Open(_path, KxEaRead | KxEaWrite), kKxStatusSuccess);
  std::vector<unsigned char> record, answer(kKxEaMaxRecordBytes);
  const unsigned char value[] = {7};
  KxEaList_Append(record, 0, {0, 0, "KXTEST", value});
  const long set = _system.set(_file, record);
  size_t written = 99;
  const long got = _system.query(_file, KxEaQuery_Of("KxTest"), answer, written);
  if (set >= 0) {
    const auto found = KxEaRecord_Read(std::span(answer).first(written));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->name, "KXTEST");
    EXPECT_EQ(found->value.size(), 1u);
  } else {
    EXPECT_LT(got, 0) << "nothing was set";
    EXPECT_EQ(written, 0u);
    EXPECT_NE(GetLastError(), DWORD{ERROR_SUCCESS});
  }
  EXPECT_TRUE(_system.areKernelEasCurrent(_file));
  EXPECT_EQ(_system.hasKernelEas(), IsWindows8());
  EXPECT_EQ(_system.setKernelEa, nullptr) << "the driver's alone";
  uint32_t size = 0;
  EXPECT_EQ(_system.querySize(0x7FF0, size), kKxStatusInvalidHandle);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

}  // namespace
