// Facts of a file on this machine, looked at on behalf of the user of a token. Who signed a file, and what an installer
// package says of itself, is not told: those answers are "unknown" and "none", and no policy that asks for them
// matches.
#include "Agent/engine/kx_util/file_facts.h"
#include "Agent/engine/kx_util/pe_version_info.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/file/file.h"

namespace {

class LiveFileFacts : public IkxFileFacts {
 public:
  LiveFileFacts(CkxTextView path, void* token) : _path(path.ToString()), _token(token) {}

  std::optional<int64_t> Size() const override {
    const SkxFileStatus* const status = Status();
    return status != nullptr ? std::optional(static_cast<int64_t>(status->size)) : std::nullopt;
  }

  std::optional<int64_t> ModificationTime() const override {
    const SkxFileStatus* const status = Status();
    return status != nullptr ? std::optional(status->modificationTime) : std::nullopt;
  }

  std::optional<KxWString> Hash(CkxTextView algorithm) const override {
    const std::optional<EkxHashAlgorithm> known = KxHash_FromName(algorithm);
    if (!known) return std::nullopt;
    const CkxImpersonationScope asUser(_token);
    return KxHash_OfFile(_path, *known);
  }

  std::optional<CkxSid> Owner() const override {
    const CkxImpersonationScope asUser(_token);
    return KxFile_Owner(_path);
  }

  std::optional<KxWString> OwnerName() const override {
    const std::optional<CkxSid> owner = Owner();
    return owner ? std::optional(KxSid_AccountName(*owner)) : std::nullopt;
  }

  SkxVersion FileVersion() const override { return VersionInfo().fileVersion; }

  std::optional<KxWString> VersionField(CkxTextView field) const override {
    const KxWString* const text = VersionInfo().Field(field);
    return text != nullptr ? std::optional(*text) : std::nullopt;
  }

  std::optional<KxWString> MsiProperty(CkxTextView) const override { return std::nullopt; }
  SkxSignerFact Signer(bool) const override { return SkxSignerFact(); }

 private:
  const SkxFileStatus* Status() const {
    if (!_statusSought) {
      const CkxImpersonationScope asUser(_token);
      _status = KxFile_Status(_path);
      _statusSought = true;
    }
    return _status ? &*_status : nullptr;
  }

  /// One read for the version and all of the fields; without a version resource, neither.
  const SkxPeVersionInfo& VersionInfo() const {
    if (!_version) {
      const CkxImpersonationScope asUser(_token);
      CkxFileReader file;
      if (file.Open(_path)) _version = KxPe_ReadVersionInfo(file);
      if (!_version) _version.emplace();
    }
    return *_version;
  }

  const KxWString _path;
  void* const _token;  // not owned
  mutable bool _statusSought = false;
  mutable std::optional<SkxFileStatus> _status;
  mutable std::optional<SkxPeVersionInfo> _version;
};

}  // namespace

std::unique_ptr<IkxFileFacts> KxFileFacts_Live(CkxTextView path, void* token) {
  return std::make_unique<LiveFileFacts>(path, token);
}
