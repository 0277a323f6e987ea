// Facts about a file that were recorded, on this machine or another one.
#include "Agent/engine/kx_util/target/file_facts.h"
#include "Common_CPP/util/text.h"

namespace {

class RecordedFileFacts : public IkxFileFacts {
 public:
  explicit RecordedFileFacts(SkxFileFacts facts) : _facts(std::move(facts)) {}

  bool AreAtHand() const override { return true; }
  std::optional<int64_t> Size() const override { return _facts.size; }
  std::optional<int64_t> ModificationTime() const override { return _facts.modificationTime; }
  std::optional<KxWString> Hash(CkxTextView algorithm) const override { return Find(_facts.hashes, algorithm, false); }
  std::optional<CkxSid> Owner() const override { return _facts.owner; }
  std::optional<KxWString> OwnerName() const override { return _facts.ownerName; }
  SkxVersion FileVersion() const override {
    return _facts.fileVersion ? SkxVersion::Parse(*_facts.fileVersion) : SkxVersion();
  }
  std::optional<KxWString> VersionField(CkxTextView field) const override {
    return Find(_facts.versionInfo, field, false);
  }
  std::optional<KxWString> MsiProperty(CkxTextView property) const override {
    return Find(_facts.msiProperties, property, true);  // an installer tells its properties apart by case
  }
  std::optional<KxWString> RequestedExecutionLevel() const override { return _facts.executionLevel; }
  const SkxProgramFacts* Program() const override { return _facts.program ? &*_facts.program : nullptr; }
  const SkxAppPackageFacts* AppPackage() const override { return _facts.appPackage ? &*_facts.appPackage : nullptr; }
  const SkxMediaFacts* Media() const override { return _facts.media ? &*_facts.media : nullptr; }
  std::shared_ptr<const CkxFileOrigin> Origin() const override { return _facts.origin; }
  std::optional<uint32_t> UrlZone() const override { return _facts.urlZone; }
  std::optional<bool> IsInTempFolder() const override { return _facts.inTempFolder; }
  SkxSigner Signer(bool second) const override {
    const size_t index = second ? 1 : 0;
    return index < _facts.signers.size() ? _facts.signers[index] : SkxSigner();
  }

 private:
  static std::optional<KxWString> Find(const std::map<KxWString, KxWString>& facts, CkxTextView name,
                                       bool caseSensitive) {
    for (const auto& [key, text] : facts) {
      if (KxText_Equals(key, name, caseSensitive)) return text;
    }
    return std::nullopt;
  }

  const SkxFileFacts _facts;
};

}  // namespace

std::unique_ptr<IkxFileFacts> KxFileFacts_Recorded(SkxFileFacts facts) {
  return std::make_unique<RecordedFileFacts>(std::move(facts));
}
