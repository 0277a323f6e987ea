#include "Common_CPP/file/machine_facts.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class CkxRecordedFacts : public IkxMachineFacts {
 public:
  explicit CkxRecordedFacts(EkxDriveType type) : _type(type) {}
  EkxDriveType DriveType(WCHAR) const override { return _type; }
  std::optional<KxWString> MappedShare(WCHAR letter) const override {
    return letter == KXW('M') ? std::optional<KxWString>(KXW("\\\\server\\share")) : std::nullopt;
  }

 private:
  const EkxDriveType _type;
};

TEST(MachineFacts, ScopesNestAndEnd) {
  const CkxRecordedFacts outerFacts(EkxDriveType::Remote);
  const CkxRecordedFacts innerFacts(EkxDriveType::Cdrom);
  EXPECT_EQ(&KxMachine_Facts(), &KxMachine_SystemFacts());
  {
    const CkxMachineFactsScope outer(outerFacts);
    EXPECT_EQ(KxMachine_Facts().DriveType(KXW('C')), EkxDriveType::Remote);
    {
      const CkxMachineFactsScope inner(innerFacts);
      EXPECT_EQ(KxMachine_Facts().DriveType(KXW('C')), EkxDriveType::Cdrom);
    }
    EXPECT_EQ(KxMachine_Facts().DriveType(KXW('C')), EkxDriveType::Remote);
    EXPECT_EQ(KxMachine_Facts().MappedShare(KXW('M')), KXW("\\\\server\\share"));
  }
  EXPECT_EQ(&KxMachine_Facts(), &KxMachine_SystemFacts());
}

TEST(MachineFacts, AScopeIsItsThreadsOwn) {
  const CkxRecordedFacts recorded(EkxDriveType::Remote);
  const CkxMachineFactsScope scope(recorded);
  const IkxMachineFacts* elsewhere = nullptr;
  std::thread([&] { elsewhere = &KxMachine_Facts(); }).join();
  EXPECT_EQ(elsewhere, &KxMachine_SystemFacts());
}

TEST(MachineFacts, TheSystemMapsNothingThatIsNoDrive) {
  for (const WCHAR letter : {WCHAR{0}, KXW('a'), KXW('@'), KXW('['), KXW('\\'), WCHAR{0xFFFF}}) {
    EXPECT_EQ(KxMachine_SystemFacts().DriveType(letter), EkxDriveType::Unknown) << static_cast<unsigned>(letter);
    EXPECT_FALSE(KxMachine_SystemFacts().MappedShare(letter)) << static_cast<unsigned>(letter);
  }
}

}  // namespace
