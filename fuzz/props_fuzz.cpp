// Input: a byte that selects a kind of property, then the bytes of its record. What reads as one is asked about a
// recorded process and a recorded medium.
#include <array>
#include <cstdlib>

#include "Common_CPP/file/machine_facts.h"
#include "tests/support/all_props.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// Every drive is a local disk, whatever machine this runs on.
class OneDiskMachine : public IkxMachineFacts {
 public:
  EkxDriveType DriveType(WCHAR) const override { return EkxDriveType::Fixed; }
  std::optional<KxWString> MappedShare(WCHAR) const override { return std::nullopt; }
};

CkxTargetInfoProcess RecordedProcess() {
  SkxFileFacts file;
  file.path = KXW("C:\\Program Files\\Vendor\\app.exe");
  file.size = 1000;
  file.hashes = {{KXW("SHA1"), KXW("00112233445566778899AABBCCDDEEFF00112233")}};
  file.owner = CkxSid::FromUtf8("S-1-5-18");
  file.signers = {{KXW("Vendor Inc."), EkxPublisherStatus::Valid}};
  file.versionInfo = {{KXW("ProductName"), KXW("App")}};
  file.msiProperties = {{KXW("ProductCode"), KXW("{1}")}};
  SkxProcessFacts process;
  process.commandLine = KXW("app.exe /quiet");
  process.services = KXW("Spooler/Netlogon");
  return CkxTargetInfoProcess(std::move(file), std::move(process), nullptr);
}

/// What is asked of every kind; one that nothing can be asked of is read alone.
struct Asked {
  const CkxTargetInfoProcess process = RecordedProcess();
  const SkxMediaFacts media = {KXW("USB"), KXW("Vendor"), KXW("Stick"), std::nullopt};

  bool Match(const CkxShBufPropStr& prop) const { return prop.Match(KXW("Vendor Inc.")); }
  bool Match(const CkxShBufPropNameValuePair& prop) const { return prop.Match(KXW("Vendor")); }
  bool Match(const CkxShBufPropArguments& prop) const { return prop.Match(process.CommandLine(), process.GetPath()); }
  bool Match(const CkxShBufPropBitmask& prop) const { return prop.Match(6); }
  bool Match(const CkxShBufPropFileName& prop) const {
    const bool byName = prop.MatchFileName(process);
    const bool byHash = prop.MatchFileNameAndHash(process);
    Require(byHash || !byName);
    return byName;
  }
  bool Match(const CkxShBufPropVersionRange& prop) const { return prop.Match(SkxVersion(0x10002u, 0x30004u)); }
  bool Match(const CkxShBufPropPublishers& prop) const { return prop.Match(process, true); }
  bool Match(const CkxShBufPropParentProcess& prop) const { return prop.Match(process, true); }
  bool Match(const CkxShBufPropMediaInfo& prop) const { return prop.Match(media); }
  bool Match(const CkxShBufPropMediaInfos& prop) const { return prop.Match(media); }
  template <class Prop>
  bool Match(const Prop& prop) const {
    if constexpr (requires { prop.Match(process); }) return prop.Match(process);
    return true;
  }
};

/// Reads and asks: twice the same answer, and one byte for a property that is not set.
template <class Prop>
void Try(const unsigned char* data, unsigned long size, const Asked& asked) {
  const unsigned char* cursor = data;
  unsigned long remaining = size;
  Prop prop;
  const bool isRead = prop.FromBuffer(cursor, remaining);
  Require(cursor >= data && static_cast<unsigned long>(cursor - data) + remaining == size);
  if (!isRead) return;
  Require(prop.Initialized() == (data[0] != 0));
  Require(prop.Initialized() || remaining + 1 == size);
  Require(asked.Match(prop) == asked.Match(prop));
}

template <class... Prop>
constexpr auto TryEach(KxTest_Props<Prop...>) {
  return std::array{Try<Prop>...};
}
constexpr auto kKinds = TryEach(KxTest_AllProps());

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  if (size == 0) return 0;
  static const OneDiskMachine machine;
  static const Asked asked;
  const CkxMachineFactsScope scope(machine);
  kKinds[data[0] % kKinds.size()](data + 1, static_cast<unsigned long>(size - 1), asked);
  return 0;
}
