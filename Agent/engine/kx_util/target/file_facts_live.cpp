// Facts of a file on this machine, looked at on behalf of the user of a token. Who signed a file, and what an installer
// package says of itself, is not told: those answers are "unknown" and "none", and no policy that asks for them
// matches.
#include <kx_util/evaluation_fault.h>

#include <atomic>

#include "Agent/engine/kx_util/target/file_facts.h"
#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/crypto/hash.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

std::atomic<uint64_t> hashLimit{kKxDefaultHashLimit};

/// The algorithms that policies have asked for since the process began, of any file: a bit each. Policies that name one
/// algorithm have each file read once with that; those that name several have each file but the first read once with
/// all of them, and nobody computes what nobody asks for.
std::atomic<unsigned> wantedAlgorithms{0};

std::vector<EkxHashAlgorithm> WantedWith(EkxHashAlgorithm algorithm) {
  const unsigned bit = 1u << static_cast<unsigned>(algorithm);
  const unsigned wanted = wantedAlgorithms.fetch_or(bit, std::memory_order_relaxed) | bit;
  std::vector<EkxHashAlgorithm> algorithms;
  for (unsigned index = 0; wanted >> index != 0; ++index) {
    if ((wanted >> index & 1) != 0) algorithms.push_back(static_cast<EkxHashAlgorithm>(index));
  }
  return algorithms;
}

bool SpendOnBytes(uint64_t bytes) {
  constexpr uint64_t kBytesAUnit = 16;
  return KxWork_Spend(bytes / kBytesAUnit + 1);
}

/// A process that has no handle or no memory left to open a file with does not know that there is none.
void NoteWhatIsShort() {
  if (KxLastError_Get() == kKxErrorTooManyOpenFiles || KxLastError_Get() == kKxErrorNotEnoughMemory) {
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  }
}

/// All facts are taken through one handle, opened when the first is asked for: whoever changes what the path names
/// changes nothing of what was judged.
class LiveFileFacts : public IkxFileFacts {
 public:
  LiveFileFacts(CkxTextView path, void* token) : _path(path.ToString()), _token(token) {}

  std::optional<int64_t> Size() const override {
    return File() != nullptr ? std::optional(static_cast<int64_t>(_status.size)) : std::nullopt;
  }

  std::optional<int64_t> ModificationTime() const override {
    return File() != nullptr ? std::optional(_status.modificationTime) : std::nullopt;
  }

  std::optional<KxWString> Hash(CkxTextView algorithm) const override {
    const std::optional<EkxHashAlgorithm> known = KxHash_FromName(algorithm);
    if (!known || File() == nullptr) return std::nullopt;
    if (!_hashes.contains(*known)) ReadHashes(*known);
    const auto hash = _hashes.find(*known);
    return hash != _hashes.end() ? std::optional(hash->second) : std::nullopt;
  }

  std::optional<CkxSid> Owner() const override { return File() != nullptr ? _file.Owner() : std::nullopt; }

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
  /// The file with its status; null when there is no regular file.
  const CkxFileReader* File() const {
    if (!_sought) {
      const CkxImpersonationScope asUser(_token);
      _isOpen = _file.OpenForFacts(_path) && _file.Status(_status);
      if (!_isOpen) NoteWhatIsShort();
      _sought = _isOpen || KxFault_Current() == EkxEvaluationFault::None;
    }
    return _isOpen ? &_file : nullptr;
  }

  void ReadHashes(EkxHashAlgorithm algorithm) const {
    const uint64_t limit = KxUtil_HashLimit();
    if (_status.size > limit) {
      KxTrace(EkxTraceLevel::Warning, "CkxTargetInfoFile", "WARNING: A file of ", _status.size,
              " bytes has no hash, since the limit is ", limit, ": [", CkxTextView(_path), "]");
      return;
    }
    _hashes.merge(KxHash_OfFile(_file, _status.size, WantedWith(algorithm), SpendOnBytes));
  }

  /// One read for the version and all of the fields; without a version resource, neither.
  const SkxPeVersionInfo& VersionInfo() const {
    static const SkxPeVersionInfo kNone;
    if (_version) return *_version;
    std::optional<SkxPeVersionInfo> read;
    if (File() != nullptr) read = KxPe_ReadVersionInfo(_file);
    if (!read && KxFault_Current() != EkxEvaluationFault::None) return kNone;  // not had, which is not "none"
    if (!read) read.emplace();
    _version = std::move(read);
    return *_version;
  }

  const KxWString _path;
  void* const _token;  // not owned
  mutable bool _sought = false;
  mutable bool _isOpen = false;
  mutable CkxFileReader _file;
  mutable SkxFileStatus _status;
  mutable KxHashTexts _hashes;
  mutable std::optional<SkxPeVersionInfo> _version;
};

}  // namespace

void KxUtil_SetHashLimit(uint64_t bytes) noexcept { hashLimit.store(bytes, std::memory_order_relaxed); }
uint64_t KxUtil_HashLimit() noexcept { return hashLimit.load(std::memory_order_relaxed); }

std::unique_ptr<IkxFileFacts> KxFileFacts_Live(CkxTextView path, void* token) {
  return std::make_unique<LiveFileFacts>(path, token);
}
