#include "Common_CPP/file/machine_facts.h"

namespace {

/// The system has no drives.
class CkxSystemFacts : public IkxMachineFacts {
 public:
  EkxDriveType DriveType(WCHAR) const override { return EkxDriveType::Unknown; }
  std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
};

}  // namespace

const IkxMachineFacts& KxMachine_SystemFacts() {
  static const CkxSystemFacts facts;
  return facts;
}
