// A file system that is full, and one that may not be written: why, and with the old value intact. Needs the right to
// mount one.
#include <gtest/gtest.h>
#include <kx_util/ext_file_attributes.h>
#include <sys/mount.h>

#include <cerrno>

#include "Common_CPP/util/nt_status.h"
#include "tests/support/temp_folder.h"

namespace {

using Ea = CkxExtFileAttributes;

std::string KeptValue(const KxWString& path) {
  CkxFileFullEaInfo info;
  if (!Ea::GetFromFile(path.c_str(), "N", info)) return "(none)";
  return std::string(reinterpret_cast<const char*>(info.Value()), info.ValueLength());
}

TEST(EaRefusals, LeaveTheOldValue) {
  const CkxTempFolder folder;
  const std::string place = folder.Path().string();
  if (mount("tmpfs", place.c_str(), "tmpfs", 0, "size=64k,nr_inodes=8") != 0) {
    GTEST_SKIP() << "no right to mount a file system: " << errno;
  }
  const KxWString path = folder.Write("file", "content");
  const bool keepsAttributes = Ea::SetToFile(path.c_str(), "N", "old", false);
  long full = 0, readOnly = 0;
  const std::string large(60000, 'x');
  const bool isLargeSet = Ea::SetToFile(path.c_str(), "N", large.c_str(), false, &full);
  const std::string afterFull = KeptValue(path);
  const bool isRemounted = mount(nullptr, place.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  const bool isSetReadOnly = Ea::SetToFile(path.c_str(), "N", "new", true, &readOnly);
  const std::string afterReadOnly = KeptValue(path);
  EXPECT_EQ(umount2(place.c_str(), MNT_DETACH), 0);
  if (!keepsAttributes) GTEST_SKIP() << "memory file systems keep no attributes here";

  const std::string old = std::string("old") + '\0';
  EXPECT_TRUE(isRemounted);
  EXPECT_FALSE(isSetReadOnly);
  EXPECT_EQ(readOnly, kKxStatusMediaWriteProtected);
  if (isLargeSet) GTEST_SKIP() << "memory file systems have no limit for attributes here";
  EXPECT_EQ(full, kKxStatusDiskFull);
  EXPECT_EQ(afterFull, old);
  EXPECT_EQ(afterReadOnly, old);
}

}  // namespace
