#include <kx_util/file_src_process.h>
#include <kx_util/match_location.h>

#include <algorithm>

#include "Agent/engine/kx_util/command/command_line.h"
#include "Agent/engine/kx_util/command/system_place.h"
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

KxWString TextOf(CkxTextView text) { return text.ToString(); }

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
  const CkxTextView path = process.GetPath();
  if (path.IsEmpty()) return false;
  return KxEntry(false, [&] {
    SkxFileSrcProcessFacts facts = _facts;
    facts.isSetup = IsSetupExeTarget(process);
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
    facts.hash = HashOf(process);
    facts.user = KxToken_User(process.UserToken());
    if (KxFault_Current() == EkxEvaluationFault::None) Facts() = std::move(facts);
    return true;
  });
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
