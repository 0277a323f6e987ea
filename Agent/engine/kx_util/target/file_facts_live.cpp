// Facts of a file on this machine, looked at on behalf of the user of a token.
#include <kx_util/evaluation_fault.h>

#include <atomic>

#include "Agent/engine/kx_util/attribute/kept_facts.h"
#include "Agent/engine/kx_util/target/app_package.h"
#include "Agent/engine/kx_util/target/execution_level.h"
#include "Agent/engine/kx_util/target/file_content.h"
#include "Agent/engine/kx_util/target/file_facts.h"
#include "Agent/engine/kx_util/target/kept_origin.h"
#include "Agent/engine/kx_util/target/msi_package.h"
#include "Agent/engine/kx_util/target/pe_program.h"
#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "Agent/engine/kx_util/target/zone_identifier.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/signature/signature.h"
#include "Common_CPP/util/last_error.h"
#include "Common_CPP/util/trace.h"

namespace {

std::atomic<uint64_t> hashLimit{kKxDefaultHashLimit};

/// The digests that policies have asked for since the process began, of any file: a bit each. Policies that name one
/// algorithm have each file read once with that; those that name several have each file but the first read once with
/// all of them, and nobody computes what nobody asks for. Digests of what a signature covers are of programs alone.
std::atomic<unsigned> wantedDigests{0};

std::vector<SkxFileDigest> WantedWith(const SkxFileDigest& digest, bool isProgram) {
  constexpr unsigned kAuthenticode = 8;  // from this bit on
  const unsigned bit = 1u << (static_cast<unsigned>(digest.algorithm) + (digest.isAuthenticode ? kAuthenticode : 0));
  const unsigned wanted = wantedDigests.fetch_or(bit, std::memory_order_relaxed) | bit;
  std::vector<SkxFileDigest> digests;
  for (unsigned index = 0; wanted >> index != 0; ++index) {
    const bool isAuthenticode = index >= kAuthenticode;
    if ((wanted >> index & 1) == 0 || (isAuthenticode && !isProgram)) continue;
    digests.push_back({static_cast<EkxHashAlgorithm>(index % kAuthenticode), isAuthenticode});
  }
  return digests;
}

bool SpendOnBytes(uint64_t bytes) {
  constexpr uint64_t kBytesAUnit = 16;
  return KxWork_Spend(bytes / kBytesAUnit + 1);
}

/// A process that has no handle or no memory left to open a file with does not know that there is none; nor does one
/// whose disk fails.
void NoteWhyNotTold() {
  if (KxLastError_Get() == kKxErrorTooManyOpenFiles || KxLastError_Get() == kKxErrorNotEnoughMemory) {
    KxFault_Note(EkxEvaluationFault::OutOfMemory);
  } else if (KxLastError_Get() == kKxErrorIoDevice) {
    KxFault_Note(EkxEvaluationFault::TargetUnreadable);
  }
}

/// All facts are taken through one handle, opened when the first is asked for: whoever changes what the path names
/// changes nothing of what was judged. Whoever changes the file itself meanwhile ends the evaluation, or one fact would
/// be of what it was and another of what it has become.
class LiveFileFacts : public IkxFileFacts {
 public:
  LiveFileFacts(CkxTextView path, void* token) : _path(path.ToString()), _token(token) {}

  /// What it cost to find out is kept with the file, where the host lets that be; when nobody asks any more, since
  /// that changes when the file was changed last.
  ~LiveFileFacts() override {
    if (!_hasFoundOut) return;
    try {
      CkxKeptFacts(_file, _status).Keep(_digests, _areSignersToKeep ? _signers : std::nullopt);
    } catch (const std::bad_alloc&) {
      KxTrace(EkxTraceLevel::Debug, "CkxTargetInfoFile", "No memory to keep what was found out");
    }
  }
  LiveFileFacts(const LiveFileFacts&) = delete;
  LiveFileFacts& operator=(const LiveFileFacts&) = delete;

  /// On a mapped drive it stays there: policies name such drives, and their shares are tried for them.
  std::optional<KxWString> RealPath() const override {
    std::optional<KxWString> path = File() != nullptr ? _file.FinalPath() : std::nullopt;
    if (!path) return std::nullopt;
    if (std::optional<KxWString> plain = KxPath_Normalized(*path)) path = std::move(plain);
    const WCHAR letter = KxPath_DriveLetter(_path);
    const std::optional<KxWString> share = letter != 0 ? KxMachine_Facts().MappedShare(letter) : std::nullopt;
    const bool isOnShare = share && KxText_StartsWith(*path, *share, false) && path->size() > share->size() &&
                           KxPath_IsSeparator((*path)[share->size()]);
    if (isOnShare) return KxWString{letter, KXW(':')} + path->substr(share->size());
    const bool hasForm = KxPath_DriveLetter(*path) != 0 || KxPath_IsUnc(*path) || KxPath_DriveLetter(_path) == 0;
    return hasForm ? path : std::nullopt;
  }

  std::optional<int64_t> Size() const override {
    return File() != nullptr ? std::optional(static_cast<int64_t>(_status.size)) : std::nullopt;
  }

  std::optional<int64_t> ModificationTime() const override {
    return File() != nullptr ? std::optional(_status.modificationTime) : std::nullopt;
  }

  std::optional<KxWString> Hash(CkxTextView algorithm) const override {
    const SkxFileDigestName* const known = KxFileDigest_Named(algorithm);
    const auto digest = known != nullptr ? Digest(known->digest) : std::nullopt;
    return digest ? std::optional(KxHash_Hexadecimal(*digest)) : std::nullopt;
  }

  std::optional<CkxSid> Owner() const override {
    if (File() == nullptr) return std::nullopt;
    std::optional<CkxSid> owner = _file.Owner();
    if (!owner) NoteWhyNotTold();
    return owner;
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

  std::optional<KxWString> MsiProperty(CkxTextView property) const override {
    if (!_package && File() != nullptr) _package = Package();
    const KxWString* const text = _package ? _package->Property(property) : nullptr;
    return text != nullptr ? std::optional(*text) : std::nullopt;
  }

  EkxFileContent Content() const override {
    if (!_content && File() != nullptr) {
      const EkxFileContent content = KxContent_Of(_file);
      if (IsUnchanged()) _content = content;
    }
    return _content.value_or(EkxFileContent::Unknown);
  }

  std::optional<KxWString> RequestedExecutionLevel() const override {
    if (File() == nullptr) return std::nullopt;
    std::optional<KxWString> level = KxPe_ReadExecutionLevel(_file);
    return IsUnchanged() ? level : std::nullopt;
  }

  const SkxProgramFacts* Program() const override {
    if (!_program && File() != nullptr) {
      std::optional<SkxProgramFacts> program = KxPe_ReadProgram(_file);
      if (IsUnchanged()) _program = std::move(program);
    }
    return _program && *_program ? &**_program : nullptr;
  }

  /// Of where the file really lies. The medium under an open file stays there.
  const SkxMediaFacts* Media() const override {
    if (!_media && File() != nullptr) {
      const CkxImpersonationScope asUser(_token);
      SkxMediaFacts media;
      const bool isRemovable = KxUtil_GetMediaFacts(_file.FinalPath().value_or(_path), media);
      if (KxFault_Current() != EkxEvaluationFault::None) return nullptr;  // not had, which is not "none"
      _media.emplace();
      if (isRemovable) *_media = std::move(media);
    }
    return _media && *_media ? &**_media : nullptr;
  }

  /// Kept with the file, and read through the handle that everything else is.
  std::shared_ptr<const CkxFileOrigin> Origin() const override {
    if (File() == nullptr) return nullptr;
    std::shared_ptr<const CkxFileOrigin> origin = KxKeptOrigin_Of(_file, _path, _token);
    return IsUnchanged() ? origin : nullptr;
  }

  std::optional<uint32_t> UrlZone() const override {
    if (File() == nullptr) return std::nullopt;
    const CkxImpersonationScope asUser(_token);
    const KxWString mark = KxZoneIdentifier_PathOf(_file.FinalPath().value_or(_path));
    const std::optional<std::vector<unsigned char>> bytes = KxFile_ReadAll(mark, kKxMaxZoneIdentifierBytes);
    if (!bytes) NoteWhyNotTold();
    if (!bytes) return std::nullopt;
    return KxZoneIdentifier_Read({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
  }

  const SkxAppPackageFacts* AppPackage() const override {
    if (!_appPackage && File() != nullptr) {
      std::optional<SkxAppPackageFacts> package = KxAppPackage_Read(_file, _status.size);
      if (IsUnchanged()) _appPackage = std::move(package);
    }
    return _appPackage && *_appPackage ? &**_appPackage : nullptr;
  }

  SkxSigner Signer(bool second) const override {
    if (!_signers && File() != nullptr) _signers = Signers();
    return _signers ? (second ? _signers->second : _signers->first) : SkxSigner();
  }

 private:
  /// The file with its status; null when there is no regular file.
  const CkxFileReader* File() const {
    if (!_sought) {
      const CkxImpersonationScope asUser(_token);
      _isOpen = _file.OpenForFacts(_path) && _file.Status(_status);
      if (!_isOpen) NoteWhyNotTold();
      _sought = _isOpen || KxFault_Current() == EkxEvaluationFault::None;
    }
    return _isOpen ? &_file : nullptr;
  }

  std::optional<std::vector<unsigned char>> Digest(const SkxFileDigest& digest) const {
    if (File() == nullptr || (digest.isAuthenticode && Signature() == nullptr)) return std::nullopt;
    if (!_digests.contains(digest) && IsWithinLimit() && !IsKept(digest)) {
      const SkxPeSignature* const program = digest.isAuthenticode || _signature ? Signature() : nullptr;
      _digests.merge(KxFileDigest_Read(_file, _status.size, program != nullptr ? program->covered : SkxCoveredBytes(),
                                       WantedWith(digest, program != nullptr), SpendOnBytes));
      if (!IsUnchanged()) _digests.clear();
      _hasFoundOut = !_digests.empty();
    }
    const auto found = _digests.find(digest);
    return found != _digests.end() ? std::optional(found->second) : std::nullopt;
  }

  /// Whether the digest was kept with the file when it was computed before; asked once for all that are.
  bool IsKept(const SkxFileDigest& digest) const {
    if (!_areKeptSought) _digests.merge(CkxKeptFacts(_file, _status).Digests());
    _areKeptSought = true;
    if (!IsUnchanged()) _digests.clear();
    return _digests.contains(digest);
  }

  /// None as long as they cannot be told. What is kept of them is by the system's own roots.
  std::optional<SkxSigners> Signers() const {
    if (!IsWithinLimit()) return SkxSigners();
    const bool isBySystem = CkxTrustStore::Current() == nullptr;
    std::optional<SkxSigners> kept = isBySystem ? CkxKeptFacts(_file, _status).Signers() : std::nullopt;
    if (kept && IsUnchanged()) return kept;
    const auto digestOf = [this](EkxHashAlgorithm algorithm) { return Digest({algorithm, Signature() != nullptr}); };
    const SkxSigners signers = KxSignature_Look({_file, _path, Signature(), digestOf, SpendOnBytes});
    if (!IsUnchanged() || KxFault_Current() != EkxEvaluationFault::None) return std::nullopt;
    _hasFoundOut = true;
    _areSignersToKeep = isBySystem;
    return signers;
  }

  bool IsWithinLimit() const {
    const uint64_t limit = KxUtil_HashLimit();
    if (_status.size <= limit) return true;
    KxTrace(EkxTraceLevel::Warning, "CkxTargetInfoFile", "WARNING: A file of ", _status.size,
            " bytes has no hash and no signer, since the limit is ", limit, ": [", CkxTextView(_path), "]");
    return false;
  }

  /// What fails to be read has not been found to lack anything.
  bool IsRead() const {
    if (_file.HasFailed()) KxFault_Note(EkxEvaluationFault::TargetUnreadable);
    return !_file.HasFailed();
  }

  bool IsUnchanged() const {
    if (!IsRead()) return false;
    SkxFileStatus now;
    if (_file.Status(now) && now == _status) return true;
    KxFault_Note(EkxEvaluationFault::TargetChanged);
    return false;
  }

  /// What there is to know of its signature before that is looked at; null for what is no program.
  const SkxPeSignature* Signature() const {
    if (!_signature) {
      std::optional<SkxPeSignature> read = KxPeSignature_Read(_file, _status.size);
      if (IsRead()) _signature = std::move(read);
    }
    return _signature && *_signature ? &**_signature : nullptr;
  }

  /// One read for the version and all of the fields; without a version resource, neither.
  const SkxPeVersionInfo& VersionInfo() const {
    static const SkxPeVersionInfo kNone;
    if (_version) return *_version;
    std::optional<SkxPeVersionInfo> read;
    if (File() != nullptr) read = KxPe_ReadVersionInfo(_file);
    if (File() != nullptr && !IsUnchanged()) return kNone;
    if (!read && KxFault_Current() != EkxEvaluationFault::None) return kNone;  // not had, which is not "none"
    if (!read) read.emplace();
    _version = std::move(read);
    return *_version;
  }

  /// One read for all of its properties, none for what is no package; nothing as long as they cannot be told.
  std::optional<SkxMsiPackage> Package() const {
    SkxMsiPackage package = KxMsi_Read(_file).value_or(SkxMsiPackage());
    if (!IsUnchanged() || KxFault_Current() != EkxEvaluationFault::None) return std::nullopt;
    return package;
  }

  const KxWString _path;
  void* const _token;  // not owned
  mutable bool _sought = false;
  mutable bool _isOpen = false;
  mutable CkxFileReader _file;
  mutable SkxFileStatus _status;
  mutable KxFileDigests _digests;
  mutable bool _areKeptSought = false;
  mutable bool _hasFoundOut = false;       // what is to be kept
  mutable bool _areSignersToKeep = false;  // told by the system's roots, now: kept ones would be young for ever
  mutable std::optional<std::optional<SkxPeSignature>> _signature;
  mutable std::optional<EkxFileContent> _content;
  mutable std::optional<std::optional<SkxProgramFacts>> _program;
  mutable std::optional<std::optional<SkxMediaFacts>> _media;
  mutable std::optional<std::optional<SkxAppPackageFacts>> _appPackage;
  mutable std::optional<SkxSigners> _signers;
  mutable std::optional<SkxPeVersionInfo> _version;
  mutable std::optional<SkxMsiPackage> _package;
};

}  // namespace

void KxUtil_SetHashLimit(uint64_t bytes) noexcept { hashLimit.store(bytes, std::memory_order_relaxed); }
uint64_t KxUtil_HashLimit() noexcept { return hashLimit.load(std::memory_order_relaxed); }

std::unique_ptr<IkxFileFacts> KxFileFacts_Live(CkxTextView path, void* token) {
  return std::make_unique<LiveFileFacts>(path, token);
}
