#include <kx_util/file_src_process.h>
#include <kx_util/match_location.h>
#include <kx_util/proc_map.h>

#include <algorithm>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/command/system_place.h"
#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Agent/engine/kx_util/origin/well_known_process.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const WCHAR* kDigestMark = KXW("##");
constexpr const WCHAR* kSystemInstallers[] = {KXW("TrustedInstaller.exe"), KXW("msiexec.exe")};
constexpr const WCHAR* kInstallerKeywords[] = {KXW("setup"), KXW("install"), KXW("update"), KXW("upgrade")};

constexpr const WCHAR* kUnknownText = KXW("UNKNOWN");
constexpr const WCHAR* kDeletedMark = KXW(":DEL:");
constexpr size_t kDeletedPrefix = 5 + 16 + 1;  // the mark, the number of the file, a colon

/// A record that a process could spoil by what it calls itself would be none.
KxWString TextOf(CkxTextView text) { return CkxTiXmlUtil::Writable(text); }

const WCHAR* OrNull(const KxWString& text) { return text.empty() ? nullptr : text.c_str(); }

KxWString HashOf(const IkxHashProvider& program) {
  CkxUtilStr hash;
  return program.GetAlgorithmAndHashString(hash) ? hash.View().ToString() : KxWString();
}

/// What a process brings that everybody knows.
CkxFileSrcType::EkxType TypeOfKind(EkxWellKnownKind kind) {
  switch (kind) {
    case EkxWellKnownKind::Browser:
    case EkxWellKnownKind::Messenger:
      return CkxFileSrcType::Internet;
    case EkxWellKnownKind::Mail:
      return CkxFileSrcType::EMail;
    default:
      return CkxFileSrcType::None;
  }
}

const WCHAR* OrUnknown(const WCHAR* text) { return text != nullptr && *text != 0 ? text : kUnknownText; }

/// The end of `path`, which has a terminator.
const WCHAR* FileNameIn(const KxWString& path) { return path.c_str() + (path.size() - KxPath_FileName(path).Size()); }

}  // namespace

bool CkxFileSrcProcess::Fill(const CkxTargetInfoProcess& process) {
  if (CkxTextView(process.GetPath()).IsEmpty()) return false;
  return KxEntry(false, [&] {
    SkxFileSrcProcessFacts facts = _facts;
    _FillFacts(process, facts);
    facts.hash = HashOf(process);
    if (KxFault_Current() == EkxEvaluationFault::None) Facts() = std::move(facts);
    return true;
  });
}

bool CkxFileSrcProcess::FillForOrigin(const CkxTargetInfoProcess& process, int32_t order,
                                      const CkxTargetInfoProcess* below) {
  if (CkxTextView(process.GetPath()).IsEmpty()) return false;
  return KxEntry(false, [&] {
    CkxFileSrcProcess filled;
    SkxFileSrcProcessFacts& facts = filled._facts;
    facts.order = order;
    _FillFacts(process, facts);
    _FillSurroundings(process, facts);
    if (filled._HashRequired()) facts.hash = HashOf(process);
    if (!filled._UserRequired(below)) facts.user.reset();
    if (!filled._PathAndArgsRequired()) facts.path.clear(), facts.arguments.clear();
    filled._imageOrigin = process.SharedOrigin();
    if (KxFault_Current() == EkxEvaluationFault::None) *this = std::move(filled);
    return true;
  });
}

void CkxFileSrcProcess::_FillFacts(const CkxTargetInfoProcess& process, SkxFileSrcProcessFacts& facts) const {
  const CkxTextView path = process.GetPath();
  facts.isSetup = process.IsRecorded() ? IsSetupExeTarget(process) : IsSetupExe(process.Pid(), process);
  const SkxWellKnownProcess* const known = KxWellKnown_Of(process);
  facts.wellKnown = known != nullptr ? KxWString(known->shortName) : KxWString();
  facts.serviceNames = TextOf(process.ServiceNames());
  facts.publisher = TextOf(process.GetPublisher(false, facts.publisherStatus));
  facts.fileDescription = TextOf(process.GetVersionInfo(KXW("FileDescription")));
  facts.productName = TextOf(process.GetProductName());
  facts.path = TextOf(path);
  facts.inTempFolder = process.IsInTempDir();
  facts.locationType = TextOf(KxUtil_GetFileLocationType(process));
  facts.arguments = TextOf(KxCommandLine_TakeApart(process.CommandLine(), path).arguments);
  CkxFileSrcUser user;
  facts.user = user.Fill(process.UserToken()) ? std::optional(std::move(user)) : std::nullopt;
}

void CkxFileSrcProcess::_FillSurroundings(const CkxTargetInfoProcess& process, SkxFileSrcProcessFacts& facts) {
  const SkxProcessSurroundings& surroundings = process.Surroundings();
  facts.multiFileCreator = surroundings.multiFileCreator;
  facts.isDeveloperApp = surroundings.isDeveloperApp;
  facts.softwareDistributor = surroundings.softwareDistributor;
  facts.copySource = surroundings.copySource;
  facts.urlZone = process.UrlZone().value_or(facts.kUnknownUrlZone);
  if (surroundings.deletedFileId) facts.path = _FormatDeletedPath(*surroundings.deletedFileId, facts.path);
}

/// A well-known process is told by its name; but policies look for distributors by their paths.
bool CkxFileSrcProcess::_PathAndArgsRequired() const {
  const SkxWellKnownProcess* const known = KxWellKnown_ByName(_facts.wellKnown);
  return known == nullptr || known->kind == EkxWellKnownKind::Distributor;
}

bool CkxFileSrcProcess::_HashRequired() const {
  return _PathAndArgsRequired() && (_facts.order == 0 || _facts.isSetup);
}

bool CkxFileSrcProcess::_UserRequired(const CkxTargetInfoProcess* below) const {
  if (below == nullptr || !_facts.user) return true;
  const std::optional<CkxSid> belowUser = KxToken_User(below->UserToken());
  return !belowUser || !belowUser->Equals(_facts.user->Facts().sid.value_or(CkxSid()));
}

const CkxFileSrcTypeArray& CkxFileSrcProcess::SourceTypes() const {
  if (_areTypesKnown) return _types;
  CkxFileSrcTypeArray types;
  const auto add = [&types](CkxFileSrcType::EkxType type) {
    if (type != CkxFileSrcType::None) types.Add(type);
  };
  const SkxWellKnownProcess* const known = KxWellKnown_ByName(_facts.wellKnown);
  if (known != nullptr) add(TypeOfKind(known->kind));
  if (!_facts.softwareDistributor.empty()) add(CkxFileSrcType::SoftwareDistributor);
  add(CkxFileSrcType::FromLocationType(_facts.locationType.c_str()));
  add(CkxFileSrcType::FromLocationType(_facts.copySource.locationType.c_str()));
  if (_facts.isDeveloperApp) add(CkxFileSrcType::DevApp);
  _types = types;
  _areTypesKnown = true;
  return _types;
}

CkxFileSrcType::EkxType CkxFileSrcProcess::GetMainSourceType() const {
  const CkxFileSrcTypeArray& types = SourceTypes();
  if (types.IsEmpty()) return CkxFileSrcType::None;
  types.Sort();
  return types.GetAt(0);
}

CkxFileSrcType::EkxType CkxFileSrcProcess::GetMainSourceType(const WCHAR*& name, const WCHAR*& detail) const {
  const CkxFileSrcType::EkxType type = GetMainSourceType();
  name = type != CkxFileSrcType::None ? GetDisplayName() : nullptr;
  detail = type != CkxFileSrcType::None ? OrUnknown(_facts.path.c_str()) : nullptr;
  if (type == CkxFileSrcType::Internet || type == CkxFileSrcType::EMail) {
    const WCHAR* const known = HumanReadableNameFromWellKnown(_facts.wellKnown);
    if (known != nullptr) name = known;
  } else if (type == CkxFileSrcType::SoftwareDistributor) {
    name = _facts.softwareDistributor.c_str();
    detail = GetDisplayName();
  } else if (CkxFileSrcType::IsLocationBased(type) && !_facts.copySource.path.empty()) {
    detail = _facts.copySource.path.c_str();
  }
  return type;
}

const WCHAR* CkxFileSrcProcess::GetDisplayName() const {
  if (IsPathDeleted(_facts.path)) return KXW("Deleted File");
  if (const WCHAR* const known = HumanReadableNameFromWellKnown(_facts.wellKnown)) return known;
  return _facts.fileDescription.empty() ? OrUnknown(FileNameIn(_facts.path)) : _facts.fileDescription.c_str();
}

CkxTextView CkxFileSrcProcess::MainPath() const {
  if (IsPathDeleted(_facts.path)) return CkxTextView(_facts.path).Part(std::min(_facts.path.size(), kDeletedPrefix));
  if (!_facts.path.empty()) return _facts.path;
  return GetWellKnownExeName(_facts.wellKnown);
}

bool CkxFileSrcProcess::IsSameProgram(const CkxTargetInfoProcess& process) const {
  return KxEntry(false, [&] {
    if (const SkxWellKnownProcess* const known = KxWellKnown_ByName(_facts.wellKnown)) {
      return known == KxWellKnown_Of(process);
    }
    const CkxTextView path = process.GetPath();
    return !path.IsEmpty() && !IsPathDeleted(_facts.path) && KxText_Equals(_facts.path, path, false);
  });
}

bool CkxFileSrcProcess::FillWellKnown(const CkxTargetInfoProcess& process) {
  return KxEntry(false, [&] {
    if (!NeedFeelWellKnown()) return true;
    const SkxWellKnownProcess* const known = KxWellKnown_Of(process);
    if (known != nullptr) Facts().wellKnown = known->shortName;
    return known != nullptr;
  });
}

const WCHAR* CkxFileSrcProcess::GetWellKnownExeName(CkxTextView shortName) {
  const SkxWellKnownProcess* const known = KxWellKnown_ByName(shortName);
  return known != nullptr ? known->image : nullptr;
}

bool CkxFileSrcProcess::ToXml(tinyxml2::XMLElement& parent, bool withSourceTypes) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, "Process", *this, {true, withSourceTypes}); });
}

std::optional<CkxFileSrcProcess> CkxFileSrcProcess::CreateFromXml(const tinyxml2::XMLElement& process) {
  return KxEntry(std::optional<CkxFileSrcProcess>(), [&]() -> std::optional<CkxFileSrcProcess> {
    CkxFileSrcProcess read;
    return KxSourceXml_Read(process, read) ? std::optional(std::move(read)) : std::nullopt;
  });
}

KxWString CkxFileSrcProcess::_FormatDeletedPath(uint64_t fileId, CkxTextView path) {
  return KxEntry(KxWString(), [&] {
    KxWString text = kDeletedMark;
    for (int shift = 60; shift >= 0; shift -= 4) text += KXW("0123456789ABCDEF")[(fileId >> shift) & 0xF];
    return text + KXW(":") + path.ToString();
  });
}

bool CkxFileSrcProcess::IsPathDeleted(CkxTextView path) { return KxText_StartsWith(path, kDeletedMark, true); }

bool CkxFileSrcProcess::_IsProcessStackTerminator(bool ofPackage) const {
  const SkxWellKnownProcess* const known = KxWellKnown_ByName(_facts.wellKnown);
  return known != nullptr && (known->endsWalk || (ofPackage && KxText_Equals(known->shortName, KXW("msiexec"), true)));
}

bool CkxFileSrcProcess::_InWinSxS(CkxTextView path) {
  return KxEntry(false, [&] { return CkxSystemPlace(path).Is(KXW("?:\\Windows\\winsxs\\*")); });
}

KxWString CkxFileSrcProcess::CommandLine() const {
  return KxEntry(KxWString(), [&] {
    const KxWString program = KXW("\"") + _facts.path + KXW("\"");
    return _facts.arguments.empty() ? program : program + KXW(" ") + _facts.arguments;
  });
}

bool CkxFileSrcProcess::IsSetupExe(uint32_t pid, const CkxTargetInfoProcess& target) {
  bool isMarked = false;
  return KxUtilProcMap_IsSetupExe(pid, isMarked) ? isMarked : IsSetupExeTarget(target);
}

bool CkxFileSrcProcess::IsSetupExeTarget(const CkxTargetInfoProcess& process) {
  const CkxTextView name = KxPath_FileName(process.GetPath());
  const auto isName = [&](CkxTextView installer) { return KxText_Equals(name, installer, false); };
  return std::any_of(std::begin(kSystemInstallers), std::end(kSystemInstallers), isName) ||
         ContainsInstallerKeywords(process.GetVersionInfo(KXW("OriginalFilename"))) ||
         ContainsInstallerKeywords(process.GetVersionInfo(KXW("FileDescription")));
}

bool CkxFileSrcProcess::IsWellKnownName(CkxTextView shortName) { return KxWellKnown_ByName(shortName) != nullptr; }

const WCHAR* CkxFileSrcProcess::HumanReadableNameFromWellKnown(CkxTextView shortName) {
  const SkxWellKnownProcess* const known = KxWellKnown_ByName(shortName);
  return known != nullptr ? known->humanName : nullptr;
}

bool CkxFileSrcProcess::ContainsInstallerKeywords(CkxTextView text) {
  const auto isIn = [&](CkxTextView keyword) { return KxText_Find(text, keyword, false) != CkxTextView::npos; };
  return std::any_of(std::begin(kInstallerKeywords), std::end(kInstallerKeywords), isIn);
}

const WCHAR* CkxFileSrcProcess::GetPath() const { return OrNull(_facts.path); }

const WCHAR* CkxFileSrcProcess::GetHashStringUsing(const WCHAR* algorithm) const {
  const CkxTextView held = _facts.hash;
  const size_t mark = KxText_Find(held, kDigestMark, true);
  const bool isHeld = mark != CkxTextView::npos && KxText_Equals(held.Part(0, mark), algorithm, false);
  return isHeld ? _facts.hash.c_str() : nullptr;
}

bool CkxFileSrcProcess::GetHash(CkxUtilStr& algorithm, CkxUtilStr& hash) const {
  const CkxTextView held = _facts.hash;
  const size_t mark = KxText_Find(held, kDigestMark, true);
  if (mark == CkxTextView::npos) return false;
  return KxEntry(false, [&] {
    CkxUtilStr name = held.Part(0, mark);
    CkxUtilStr digits = held.Part(mark + CkxTextView(kDigestMark).Size());
    algorithm = std::move(name);
    hash = std::move(digits);
    return true;
  });
}

const WCHAR* CkxFileSrcProcess::GetPublisher(bool secondSigner, EkxPublisherStatus& status) const {
  status = secondSigner ? EkxPublisherStatus::Unknown : _facts.publisherStatus;
  return secondSigner ? nullptr : OrNull(_facts.publisher);
}

const WCHAR* CkxFileSrcProcess::GetVersionInfo(const WCHAR* field) const {
  if (KxText_Equals(field, KXW("FileDescription"), false)) return OrNull(_facts.fileDescription);
  if (KxText_Equals(field, KXW("ProductName"), false)) return OrNull(_facts.productName);
  return nullptr;
}
