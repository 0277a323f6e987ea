// The mode of a file or folder, for tests of what others may do with it.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

inline mode_t KxTest_ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}
