#include <kx_util/shared_policy_origin_props.h>

#include <kx_util/file_origin.h>
#include <kx_util/match_str.h>

#include <algorithm>

#include "Agent/engine/kx_util/property/prop_reading.h"
#include "Agent/engine/kx_util/property/remembered_drive.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const WCHAR* kInternetKind = KXW("INTERNET");

enum : unsigned char { kMadeByCaller = 1, kNotMadeByCaller = 2 };

/// Who starts the file, where that is told: the parent of a process.
const CkxTargetInfoProcess* CallerOf(const CkxTargetInfoFile& file) {
  if (!file.IsTargetInfoProcess()) return nullptr;
  const CkxTargetInfo* const parent = static_cast<const CkxTargetInfoProcess&>(file).Parent();
  return parent != nullptr && parent->IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess*>(parent)
                                                            : nullptr;
}

bool IsAmong(const CkxTargetInfoProcess& caller, const std::vector<CkxFileSrcProcess>& makers, bool all) {
  const auto end = all ? makers.end() : makers.begin() + 1;
  return std::any_of(makers.begin(), end, [&](const CkxFileSrcProcess& maker) { return maker.IsSameProgram(caller); });
}

/// The signer of a package as its record has it.
class RecordedSigner final : public IkxPublisherProvider {
 public:
  explicit RecordedSigner(const SkxFileSrcPackageFacts& package) : _package(package) {}
  const WCHAR* GetPublisher(bool secondSigner, EkxPublisherStatus& status) const override {
    status = secondSigner ? EkxPublisherStatus::Unknown : _package.publisherStatus;
    return secondSigner || _package.publisher.empty() ? nullptr : _package.publisher.c_str();
  }

 private:
  const SkxFileSrcPackageFacts& _package;
};

const CkxFileSrcPackage* PackageOf(const CkxFileOrigin& origin) {
  const CkxFileSrcInstaller* const installers[] = {&origin.Installer(), &origin.ParentInstaller()};
  for (const CkxFileSrcInstaller* const installer : installers) {
    if (installer->Package()) return &*installer->Package();
  }
  return nullptr;
}

/// What a package is called: by its product, else by its file.
CkxTextView NameOf(const SkxFileSrcPackageFacts& package) {
  return package.productName.empty() ? KxPath_FileName(package.path) : CkxTextView(package.productName);
}

}  // namespace

bool CkxShBufPropDistributionService::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining,
               [this](CkxBufReader& in) { return in.ObfuscatedText(_name) && _name.ByteCount() != 0; });
}

bool CkxShBufPropDistributionService::Match(const CkxFileOrigin& origin) const {
  if (!Initialized()) return true;
  const std::vector<CkxFileSrcProcess>& makers = origin.SourceInstaller().Processes();
  return std::any_of(makers.begin(), makers.end(), [this](const CkxFileSrcProcess& maker) {
    const KxWString& distributor = maker.Facts().softwareDistributor;
    return !distributor.empty() && KxText_Equals(distributor, Name(), false);
  });
}

bool CkxShBufPropSpawnerProcess::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Flag(_allCallers) && in.U8(_mode); });
}

bool CkxShBufPropSpawnerProcess::Match(const CkxTargetInfoFile& file) const {
  if (!Initialized()) return true;
  if (_mode != kMadeByCaller && _mode != kNotMadeByCaller) return false;
  const CkxFileOrigin* const origin = file.Origin();
  const CkxTargetInfoProcess* const caller = CallerOf(file);
  const bool isMaker = origin != nullptr && caller != nullptr && !origin->Installer().Processes().empty() &&
                       IsAmong(*caller, origin->Installer().Processes(), _allCallers);
  return isMaker == (_mode == kMadeByCaller);
}

bool CkxShBufPropUserOrGroup::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) { return in.Sid(_sid); });
}

CkxShBufList::CkxNode* CkxShBufPropUserList::UserOrGroupNodeFromBuffer(const unsigned char*& cursor,
                                                                       unsigned long& remaining) {
  return _NodeFromBuffer(cursor, remaining);
}

bool CkxShBufPropUserList::Match(const CkxFileOrigin& origin) const {
  if (!Initialized()) return true;
  const CkxFileSrcUser* const user = origin.User();
  if (user == nullptr) return false;
  for (const CkxPropNode<CkxShBufPropUserOrGroup>& node : Elements()) {
    const CkxSid& sid = node.prop.Sid();
    if (!KxWork_Spend(user->Facts().groups.size() + 1)) return false;
    if (sid.IsValid() && !sid.Equals(CkxSid::Null()) && user->IsOrBelongsTo(sid)) return true;
  }
  return false;
}

bool CkxShBufPropPackage::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Flag(_flag) && in.ObfuscatedText(_name) && in.Nested(_versions) &&
           in.List(_publishers, CkxShBufPropPublishers::PublisherNodeFromBuffer);
  });
}

bool CkxShBufPropPackage::Match(const CkxTargetInfoFile& file) const {
  if (!Initialized()) return true;
  const CkxTargetInfoProcess* const caller = CallerOf(file);
  const bool isCallerFromIt = !_flag || (caller != nullptr && _MatchesPackageOf(caller->Origin()));
  return isCallerFromIt && _MatchesPackageOf(file.Origin());
}

bool CkxShBufPropPackage::_MatchesPackageOf(const CkxFileOrigin* origin) const {
  const CkxFileSrcPackage* const package = origin != nullptr ? PackageOf(*origin) : nullptr;
  if (package == nullptr) return false;
  const SkxFileSrcPackageFacts& facts = package->Facts();
  const bool isNamed = Name().IsEmpty() || KxUtil_MatchStr(Name(), NameOf(facts), false, EkxStrCompareAs::StrWildcard);
  return isNamed && (!_versions.Initialized() || _versions.Range().Contains(facts.productVersion.c_str())) &&
         _MatchesPublisher(*package);
}

bool CkxShBufPropPackage::_MatchesPublisher(const CkxFileSrcPackage& package) const {
  if (_publishers.Count() == 0) return true;
  const RecordedSigner signer(package.Facts());
  for (const CkxPropNode<CkxShBufPropPublisher>& node : Publishers()) {
    if (node.prop.Match(signer)) return true;
  }
  return false;
}

bool CkxShBufPropFileOrigin::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  return _Read(cursor, remaining, [this](CkxBufReader& in) {
    return in.Flag(_flag) && in.U32(_mainSourceType) && in.Nested(_distributionService) && in.Nested(_location) &&
           in.Nested(_package) && in.Nested(_spawnerProcess) && in.Nested(_sourceAddress) && in.Nested(_users);
  });
}

EkxOriginQuestion CkxShBufPropFileOrigin::FirstFailure(const CkxTargetInfoFile& file) const {
  using enum EkxOriginQuestion;
  if (!Initialized()) return None;
  const CkxFileOrigin* const origin = file.Origin();
  if (origin == nullptr) return Record;
  if (_flag) return origin->Preexisted() ? None : Preexisted;
  if (_mainSourceType != 0 && origin->GetMainSourceType() != _mainSourceType) return MainSourceType;
  if (!_distributionService.Match(*origin)) return DistributionService;
  if (!_MatchesLocation(*origin)) return Location;
  if (!_package.Match(file)) return Package;
  if (!_spawnerProcess.Match(file)) return SpawnerProcess;
  if (!_MatchesSourceAddress(*origin)) return SourceAddress;
  if (!_users.Match(*origin)) return Users;
  return None;
}

bool CkxShBufPropFileOrigin::_MatchesLocation(const CkxFileOrigin& origin) const {
  if (!_location.Initialized()) return true;
  const KxWString path = origin.SourcePath().ToString();
  if (path.empty()) return false;
  const CkxRememberedDrive drive(origin.SourcePathType(), CkxRememberedDrive::IfUnknownNow);
  const CkxMachineFactsScope machine(drive);
  return _location.Match(CkxSimplePathProvider(path.c_str()));
}

bool CkxShBufPropFileOrigin::_MatchesSourceAddress(const CkxFileOrigin& origin) const {
  if (!_sourceAddress.Initialized()) return true;
  return KxText_Equals(origin.SourceKind(), kInternetKind, false) && _sourceAddress.Match(origin.SourceAddress());
}
