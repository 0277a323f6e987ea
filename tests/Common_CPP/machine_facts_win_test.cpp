// Drives as Windows knows them.
#include <gtest/gtest.h>

#include "Common_CPP/file/machine_facts.h"

namespace {

TEST(MachineFactsWin, TheSystemDriveIsALocalDisk) {
  EXPECT_EQ(KxMachine_SystemFacts().DriveType(L'C'), EkxDriveType::Fixed);
  EXPECT_FALSE(KxMachine_SystemFacts().MappedShare(L'C'));
}

TEST(MachineFactsWin, ALetterWithoutADriveHasNoRoot) {
  EXPECT_EQ(KxMachine_SystemFacts().DriveType(L'Q'), EkxDriveType::NoRoot);
  EXPECT_FALSE(KxMachine_SystemFacts().MappedShare(L'Q'));
}

}  // namespace
