#include <kx_util/target_info_file.h>

#include <algorithm>

#include "Agent/engine/kx_util/command/wildcard.h"
#include "Agent/engine/kx_util/target/file_facts.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/text.h"

namespace {

struct SkxExtensionType {
  const WCHAR* extension;
  EkxPolicyTarget type;
};

constexpr SkxExtensionType kExtensionTypes[] = {
    {KXW(".exe"), EkxPolicyTarget::Executable},
    {KXW(".com"), EkxPolicyTarget::Executable},
    {KXW(".dll"), EkxPolicyTarget::Dll},
    {KXW(".acm"), EkxPolicyTarget::Dll},
    {KXW(".ax"), EkxPolicyTarget::Dll},
    {KXW(".cpl"), EkxPolicyTarget::Dll},
    {KXW(".efi"), EkxPolicyTarget::Dll},
    {KXW(".fon"), EkxPolicyTarget::Dll},
    {KXW(".fot"), EkxPolicyTarget::Dll},
    {KXW(".icl"), EkxPolicyTarget::Dll},
    {KXW(".ime"), EkxPolicyTarget::Dll},
    {KXW(".mui"), EkxPolicyTarget::Dll},
    {KXW(".ocx"), EkxPolicyTarget::Dll},
    {KXW(".shs"), EkxPolicyTarget::Dll},
    {KXW(".vbx"), EkxPolicyTarget::Dll},
    {KXW(".msi"), EkxPolicyTarget::Msi},
    {KXW(".msp"), EkxPolicyTarget::Msi},
    {KXW(".msu"), EkxPolicyTarget::Msu},
    // Scripts are what the system's own hosts run, and modules of theirs that are code.
    {KXW(".bat"), EkxPolicyTarget::Script},
    {KXW(".cmd"), EkxPolicyTarget::Script},
    {KXW(".hta"), EkxPolicyTarget::Script},
    {KXW(".js"), EkxPolicyTarget::Script},
    {KXW(".jse"), EkxPolicyTarget::Script},
    {KXW(".ps1"), EkxPolicyTarget::Script},
    {KXW(".psm1"), EkxPolicyTarget::Script},
    {KXW(".vbe"), EkxPolicyTarget::Script},
    {KXW(".vbs"), EkxPolicyTarget::Script},
    {KXW(".wsf"), EkxPolicyTarget::Script},
    {KXW(".wsh"), EkxPolicyTarget::Script},
};

/// The order in which a file's own choice of algorithm is made.
constexpr const WCHAR* kPreferredHashes[] = {KXW("SHA256"), KXW("SHA384"), KXW("SHA512"), KXW("SHA1"), KXW("MD5")};
constexpr const WCHAR* kHashMark = KXW("##");

/// "PREFIX.name". Facts are asked for once a property of a policy, so the key of a name of usual length takes no
/// memory.
class CacheKey {
 public:
  CacheKey(KxWStringView prefix, KxWStringView name) {
    const size_t size = prefix.size() + name.size();
    if (size >= std::size(_short)) _long.resize(size);
    WCHAR* const text = _long.empty() ? _short : _long.data();
    *std::copy(name.begin(), name.end(), std::copy(prefix.begin(), prefix.end(), text)) = 0;
    _text = text;
  }
  CacheKey(const CacheKey&) = delete;
  CacheKey& operator=(const CacheKey&) = delete;

  const WCHAR* Text() const { return _text; }

 private:
  WCHAR _short[64];
  KxWString _long;
  const WCHAR* _text;
};

KxWString Upper(CkxTextView text) {
  KxWString upper = text.ToString();
  std::transform(upper.begin(), upper.end(), upper.begin(), KxText_Fold);
  return upper;
}

/// Hands on a fact as text, or that there is none.
bool Store(CkxUtilStr& value, std::optional<KxWString> fact) {
  if (fact) value = std::move(*fact);
  return fact.has_value();
}

bool Store(CkxUtilStr& value, std::optional<int64_t> fact) {
  if (fact) KxText_AppendFormat(value, KXW("%I64d"), *fact);
  return fact.has_value();
}

bool Store(CkxUtilStr& value, const WCHAR* fact) {
  if (fact != nullptr) value = fact;
  return fact != nullptr;
}

/// The number whose text `Store` wrote.
int64_t ToNumber(const WCHAR* decimal) {
  const bool negative = *decimal == KXW('-');
  uint64_t number = 0;
  for (const WCHAR* digit = decimal + (negative ? 1 : 0); *digit != 0; ++digit) {
    number = number * 10 + static_cast<uint64_t>(*digit - KXW('0'));
  }
  return static_cast<int64_t>(negative ? 0 - number : number);
}

bool IsSystemPseudoFile(CkxTextView path) { return KxText_Equals(path, CkxTargetInfoFile::kSystemPseudoFile, true); }

/// The pseudo-file is never looked for on a disk.
std::unique_ptr<IkxFileFacts> LiveFacts(CkxTextView path, void* token) {
  return IsSystemPseudoFile(path) ? KxFileFacts_Recorded(SkxFileFacts()) : KxFileFacts_Live(path, token);
}

}  // namespace

const WCHAR* const CkxTargetInfoFile::kSystemPseudoFile = KXW("System");

CkxTargetInfoFile::CkxTargetInfoFile(const WCHAR* path, void* userToken, bool flag) : CkxTargetInfo(userToken, flag) {
  _Take(path, [&] { return LiveFacts(path, userToken); });
}

CkxTargetInfoFile::CkxTargetInfoFile(SkxFileFacts facts, void* userToken, bool flag)
    : CkxTargetInfo(userToken, flag),
      _isPathReal(true),
      _type(facts.targetType ? static_cast<EkxPolicyTarget>(*facts.targetType) : TypeOfPath(facts.path)) {
  _Take(facts.path, [&] { return KxFileFacts_Recorded(std::move(facts)); });
}

template <class Facts>
void CkxTargetInfoFile::_Take(CkxTextView path, Facts facts) {
  const bool isTaken = KxEntry(false, [&] {
    _path = path;
    _facts = facts();
    return true;
  });
  if (!isTaken) _SetIncomplete();
}

const WCHAR* CkxTargetInfoFile::GetPath() const {
  if (_isPathReal && !IsIncomplete()) [[likely]]
    return _path.String();
  return KxEntry<const WCHAR*>(nullptr, [&] { return _Path().String(); });
}

const CkxUtilStr& CkxTargetInfoFile::_Path() const {
  if (_isPathReal) return _path;
  std::optional<KxWString> real = _Facts().RealPath();
  if (KxFault_Current() != EkxEvaluationFault::None) return _path;  // not had, which is not "none"
  if (real) _path = *std::move(real);
  _isPathReal = true;
  return _path;
}

EkxPolicyTarget CkxTargetInfoFile::TargetType() const {
  if (_type) return *_type;
  const EkxPolicyTarget type = TypeOfPath(GetPath());
  if (_isPathReal) _type = type;
  return type;
}

const IkxFileFacts& CkxTargetInfoFile::_Facts() const {
  if (_facts == nullptr) throw std::bad_alloc();  // what the description was made from is lost
  return *_facts;
}

CkxTargetInfoFile::~CkxTargetInfoFile() = default;

bool CkxTargetInfoFile::AreFactsAtHand() const { return !IsIncomplete() && _facts->AreAtHand(); }

EkxPolicyTarget CkxTargetInfoFile::TypeOfPath(CkxTextView path) {
  const CkxTextView extension = KxPath_Extension(path);
  for (const SkxExtensionType& known : kExtensionTypes) {
    if (KxText_Equals(extension, known.extension, false)) return known.type;
  }
  return EkxPolicyTarget::Invalid;
}

bool CkxTargetInfoFile::IsSystemProcess() const { return IsSystemPseudoFile(_path.View()); }

int64_t CkxTargetInfoFile::GetFileSize() const {
  return KxEntry<int64_t>(kUnknownSize, [&] {
    const WCHAR* const size =
        _Cached(KXW("KxSize"), [this](CkxUtilStr& value) { return Store(value, _Facts().Size()); });
    return size != nullptr ? ToNumber(size) : kUnknownSize;
  });
}

int64_t CkxTargetInfoFile::GetModificationTime() const {
  return KxEntry<int64_t>(0, [&] {
    const WCHAR* const time =
        _Cached(KXW("KxModifTime"), [this](CkxUtilStr& value) { return Store(value, _Facts().ModificationTime()); });
    return time != nullptr ? ToNumber(time) : 0;
  });
}

const WCHAR* CkxTargetInfoFile::GetHashStringUsing(const WCHAR* algorithm) const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    if (algorithm == nullptr) return nullptr;
    const KxWString name = Upper(algorithm);
    return _Cached(CacheKey(KXW("KxHash."), name).Text(), [&](CkxUtilStr& value) {
      const std::optional<KxWString> hash = _Facts().Hash(name);
      return Store(value, hash ? std::optional(name + kHashMark + Upper(*hash)) : std::nullopt);
    });
  });
}

bool CkxTargetInfoFile::GetHash(CkxUtilStr& algorithm, CkxUtilStr& hash) const {
  return KxEntry(false, [&] {
    const CkxTextView chosen = _Cached(KXW("KxHashAndAlg"), [this](CkxUtilStr& value) {
      return std::any_of(std::begin(kPreferredHashes), std::end(kPreferredHashes),
                         [&](const WCHAR* name) { return Store(value, GetHashStringUsing(name)); });
    });
    if (chosen.IsNull()) return false;
    const size_t mark = KxText_Find(chosen, kHashMark, true);
    CkxUtilStr name = chosen.Part(0, mark);
    CkxUtilStr digits = chosen.Part(mark + 2);
    algorithm = std::move(name);
    hash = std::move(digits);
    return true;
  });
}

const WCHAR* CkxTargetInfoFile::GetPublisher(bool secondSigner, EkxPublisherStatus& status) const {
  status = EkxPublisherStatus::SystemPseudoFile;
  if (IsSystemProcess()) return nullptr;

  status = EkxPublisherStatus::Unknown;
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    std::optional<SkxSigner>& signer = _signers[secondSigner ? 1 : 0];
    if (!signer) signer = _Facts().Signer(secondSigner);
    status = signer->status;
    return signer->name.empty() ? nullptr : signer->name.c_str();
  });
}

const CkxSid* CkxTargetInfoFile::GetOwner() const {
  return KxEntry<const CkxSid*>(nullptr, [&] {
    _Cached(KXW("KxFileOwner"), [this](CkxUtilStr& value) {
      _owner = _Facts().Owner();
      return Store(value, _owner ? std::optional(_owner->ToText()) : std::nullopt);
    });
    return _owner ? &*_owner : nullptr;
  });
}

const WCHAR* CkxTargetInfoFile::GetOwnerDomainUserName() const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    return _Cached(KXW("KxFileOwnerStr"), [this](CkxUtilStr& value) { return Store(value, _Facts().OwnerName()); });
  });
}

const WCHAR* CkxTargetInfoFile::GetVersionStr() const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    return _Cached(KXW("KxVersionStr"), [this](CkxUtilStr& value) {
      const SkxVersion version = _Facts().FileVersion();
      if (version.IsEmpty()) return false;
      KxText_AppendFormat(value, KXW("%hu.%hu.%hu.%hu"), version.GetAt(0), version.GetAt(1), version.GetAt(2),
                          version.GetAt(3));
      return true;
    });
  });
}

SkxVersion CkxTargetInfoFile::GetVersion() const { return SkxVersion::Parse(GetVersionStr()); }

const WCHAR* CkxTargetInfoFile::GetVersionInfo(const WCHAR* field) const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    if (field == nullptr) return nullptr;
    return _Cached(CacheKey(KXW("KxVerInfo."), field).Text(),
                   [&](CkxUtilStr& value) { return Store(value, _Facts().VersionField(field)); });
  });
}

const WCHAR* CkxTargetInfoFile::GetProductVersionStr() const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    return _Cached(KXW("KxProductVersionStr"),
                   [this](CkxUtilStr& value) { return Store(value, GetVersionInfo(KXW("ProductVersion"))); });
  });
}

const WCHAR* CkxTargetInfoFile::GetProductName() const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    return _Cached(KXW("KxProductName"),
                   [this](CkxUtilStr& value) { return Store(value, GetVersionInfo(KXW("ProductName"))); });
  });
}

const WCHAR* CkxTargetInfoFile::GetMsiProperty(const WCHAR* property) const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    if (property == nullptr) return nullptr;
    return _Cached(CacheKey(KXW("KxMsiInfo."), property).Text(),
                   [&](CkxUtilStr& value) { return Store(value, _Facts().MsiProperty(property)); });
  });
}

const SkxAppPackageFacts* CkxTargetInfoFile::AppPackage() const {
  return KxEntry<const SkxAppPackageFacts*>(nullptr, [&] { return _Facts().AppPackage(); });
}

EkxFileContent CkxTargetInfoFile::Content() const {
  return KxEntry(EkxFileContent::Unknown, [&] { return _Facts().Content(); });
}

const SkxMediaFacts* CkxTargetInfoFile::Media() const {
  return KxEntry<const SkxMediaFacts*>(nullptr, [&] { return _Facts().Media(); });
}

std::shared_ptr<const CkxFileOrigin> CkxTargetInfoFile::SharedOrigin() const {
  return KxEntry(std::shared_ptr<const CkxFileOrigin>(), [&]() -> std::shared_ptr<const CkxFileOrigin> {
    if (_origin) return *_origin;
    std::shared_ptr<const CkxFileOrigin> origin = _Facts().Origin();
    if (KxFault_Current() != EkxEvaluationFault::None) return nullptr;  // not had, which is not "none"
    return *(_origin = std::move(origin));
  });
}

const CkxFileOrigin* CkxTargetInfoFile::Origin() const { return SharedOrigin().get(); }

std::optional<uint32_t> CkxTargetInfoFile::UrlZone() const {
  return KxEntry(std::optional<uint32_t>(), [&] { return _Facts().UrlZone(); });
}

const SkxProgramFacts* CkxTargetInfoFile::Program() const {
  return KxEntry<const SkxProgramFacts*>(nullptr, [&] { return _Facts().Program(); });
}

const WCHAR* CkxTargetInfoFile::GetRequestedExecutionLevel() const {
  return KxEntry<const WCHAR*>(nullptr, [&]() -> const WCHAR* {
    return _Cached(KXW("KxReqExecLevel"), [this](CkxUtilStr& value) {
      const bool isStartedByItself = KxText_Equals(KxPath_Extension(_path.View()), KXW(".exe"), false);
      return isStartedByItself && Store(value, _Facts().RequestedExecutionLevel());
    });
  });
}

bool CkxTargetInfoFile::IsInTempDir() const {
  static constexpr const WCHAR* kPlaces[] = {
      KXW("?:\\Windows\\Temp\\*"),
      KXW("?:\\Windows\\SystemTemp\\*"),
      KXW("?:\\Temp\\*"),
      KXW("?:\\Users\\*\\AppData\\Local\\Temp\\*"),
      KXW("/tmp/*"),
      KXW("/var/tmp/*"),
  };
  return KxEntry(false, [&] {
    const WCHAR* const known = _Cached(KXW("KxIsInTempDir"), [this](CkxUtilStr& value) {
      const KxWString path = KxPath_Normalized(_Path().View()).value_or(_Path().View().ToString());
      const bool isThere = _Facts().IsInTempFolder().value_or(
          std::any_of(std::begin(kPlaces), std::end(kPlaces),
                      [&](const WCHAR* place) { return KxWildcard_MatchesPath(place, path); }));
      return Store(value, KxWString(isThere ? KXW("1") : KXW("0")));
    });
    return known != nullptr && *known == KXW('1');
  });
}

const WCHAR* CkxTargetInfoFile::GetEmbeddedDescription() const {
  const WCHAR* const description = GetVersionInfo(KXW("FileDescription"));
  return description != nullptr && *description != 0 ? description : GetProductName();
}

void CkxTargetInfoFile::AppendDescription(const WCHAR* title, CkxUtilStr& text) const {
  if (title == nullptr) title = GetEmbeddedDescription();
  const CkxUtilStr& path = _Path();
  const CkxTextView shown = title != nullptr && *title != 0 ? CkxTextView(title) : KxPath_FileName(path.View());
  text.Append(shown);
  if (!path.IsEmpty() && !KxText_Equals(shown, path.View(), true)) KxText_AppendFormat(text, KXW(" (%s)"), path);
}

void CkxTargetInfoFile::_GetDescriptionForAlert(CkxUtilStr& text) const {
  AppendDescription(GetDescriptionBase(), text);
}
void CkxTargetInfoFile::_GetDescriptionForEvent(CkxUtilStr& text) const {
  AppendDescription(GetDescriptionBase(), text);
}
