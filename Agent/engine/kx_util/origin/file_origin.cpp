#include <kx_util/drv_xml_data.h>
#include <kx_util/file_origin.h>

#include <algorithm>

#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const char* kOriginElement = "FileOrigin";
constexpr const WCHAR* kInternet = KXW("INTERNET");

/// What is kept with a file has at most 65,535 bytes, and some of them are not the origin's.
constexpr size_t kMaxKeptBytes = 65000;

/// An event holds more than the origin.
constexpr size_t kMaxEventBytes = 1024 * 1024;
constexpr int kMaxEventDepth = 64;

constexpr const WCHAR* kRemotePlace = KXW("REMOTE");
constexpr const WCHAR* kUnknownPath = KXW("UNKNOWN");

/// A process as the driver saw it. One that wrote on behalf of another machine has the file from there.
CkxFileSrcProcess ProcessOf(const SkxDrvProcessInfo& info) {
  SkxFileSrcProcessFacts facts;
  facts.order = info.order;
  facts.multiFileCreator = info.multiFileCreator;
  facts.path = CkxTiXmlUtil::Writable(info.path.View());
  if (!info.share.IsEmpty()) {
    facts.locationType = kRemotePlace;
    const CkxTextView machine = info.address.IsEmpty() ? CkxTextView(kUnknownPath) : info.address.View();
    facts.copySource.path = KXW("\\\\") + machine.ToString() + KXW("\\") + CkxTiXmlUtil::Writable(info.share.View());
    facts.copySource.locationType = kRemotePlace;
  }
  return CkxFileSrcProcess(std::move(facts));
}

CkxFileSrcInstaller InstallerOf(const CkxDrvXmlData& data, const KxOriginLookup& originOf) {
  CkxFileSrcInstaller installer;
  if (!data.GetModifyTime(installer.InstallTime())) data.GetCreateTime(installer.InstallTime());
  std::vector<int32_t> orders = data.GetProcessOrders();
  std::sort(orders.begin(), orders.end());
  for (const int32_t order : orders) {
    SkxDrvProcessInfo info;
    if (installer.Processes().size() == CkxFileSrcInstaller::kMaxProcesses || !data.GetProcessInfo(order, info)) break;
    CkxFileSrcProcess process = ProcessOf(info);
    if (originOf && !info.path.IsEmpty()) process.SetImageOrigin(originOf(info.path.View()));
    installer.Processes().push_back(std::move(process));
  }
  CkxUtilStr sid;
  if (!installer.Processes().empty() && data.GetUserSid(sid)) {
    SkxFileSrcUserFacts user;
    user.sid = CkxSid::FromUtf8(KxText_ToUtf8(sid.View()));
    if (user.sid) installer.Processes().front().SetUser(CkxFileSrcUser(std::move(user)));
  }
  return installer;
}

bool Refuse(const char* why) {
  KxTrace(EkxTraceLevel::Error, "CkxFileOrigin", why);
  return false;
}

}  // namespace

bool CkxFileOrigin::FillFromProcess(CkxTextView filePath, const CkxTargetInfoProcess& writer, uint64_t installTime) {
  KxTrace(EkxTraceLevel::Trace, "CkxFileOrigin", "FillFromProcess start");
  const bool isFilled = KxEntry(false, [&] {
    CkxFileSrcInstaller installer;
    return installer.FillFromProcess(filePath, writer, installTime) &&
           FillFromInstaller(filePath, std::move(installer));
  });
  KxTrace(EkxTraceLevel::Trace, "CkxFileOrigin", "FillFromProcess stop");
  return isFilled;
}

bool CkxFileOrigin::FillFromMsi(CkxTextView filePath, CkxFileSrcPackage package, const CkxTargetInfoProcess* writer,
                                uint64_t installTime) {
  KxTrace(EkxTraceLevel::Trace, "CkxFileOrigin", "FillFromMsi start");
  const bool isFilled = KxEntry(false, [&] {
    CkxFileSrcInstaller installer;
    return installer.FillFromMsi(filePath, std::move(package), writer, installTime) &&
           FillFromInstaller(filePath, std::move(installer));
  });
  KxTrace(EkxTraceLevel::Trace, "CkxFileOrigin", "FillFromMsi stop");
  return isFilled;
}

bool CkxFileOrigin::FillFromInstaller(CkxTextView filePath, CkxFileSrcInstaller installer) {
  return KxEntry(false, [&] {
    if (filePath.IsEmpty()) return Refuse("ERROR: File path is NULL or empty");
    CkxFileOrigin filled;
    filled._file.path = CkxTiXmlUtil::Writable(filePath);
    filled._installer = std::move(installer);
    filled._SetParentInstaller();
    filled._FitIntoXml();
    const bool isFilled = KxFault_Current() == EkxEvaluationFault::None;
    if (isFilled) *this = std::move(filled);
    return isFilled;
  });
}

void CkxFileOrigin::_SetParentInstaller() {
  if (!_installer.IsEmpty()) _installer.SelectParentInstaller(_parentInstaller);
}

/// Who writes a file must not get rid of its origin by what it is called with, or says of itself: such texts go first,
/// from the process furthest from the file on, then processes, and at last a path that nobody can keep.
void CkxFileOrigin::_FitIntoXml() {
  using Facts = SkxFileSrcProcessFacts;
  const auto fits = [this] {
    const std::optional<std::string> text = KxSourceXml_Text(kOriginElement, *this, {false, false});
    return text && text->size() <= kMaxKeptBytes;
  };
  CkxFileSrcInstaller* const furthestFirst[] = {&_parentInstaller, &_installer};
  const auto cut = [&](auto shorten) {
    for (CkxFileSrcInstaller* const installer : furthestFirst) {
      std::vector<CkxFileSrcProcess>& chain = installer->Processes();
      for (auto process = chain.rbegin(); process != chain.rend() && !fits(); ++process) shorten(process->Facts());
    }
  };
  cut([](Facts& facts) { facts.arguments.clear(); });
  cut([](Facts& facts) {
    for (KxWString* const said : {&facts.fileDescription, &facts.productName, &facts.serviceNames}) said->clear();
  });
  for (CkxFileSrcInstaller* const installer : furthestFirst) {
    while (installer->Processes().size() > 1 && !fits()) installer->Processes().pop_back();
  }
  cut([](Facts& facts) { facts.path = kUnknownPath; });
}

const CkxFileSrcInstaller& CkxFileOrigin::SourceInstaller() const {
  return _installer.GetMainSourceType() != CkxFileSrcType::None ? _installer : _parentInstaller;
}

const CkxFileSrcUser* CkxFileOrigin::User() const {
  for (const CkxFileSrcProcess& process : _installer.Processes()) {
    if (process.Facts().user) return &*process.Facts().user;
  }
  return nullptr;
}

CkxTextView CkxFileOrigin::SourceKind() const {
  if (!_downloadAddress.empty()) return kInternet;
  const CkxFileSrcProcess* const process = SourceInstaller().MainProcess();
  return process != nullptr ? CkxTextView(process->Facts().copySource.locationType) : CkxTextView();
}

CkxTextView CkxFileOrigin::SourceAddress() const {
  if (!_downloadAddress.empty()) return _downloadAddress;
  const CkxFileSrcProcess* const process = SourceInstaller().MainProcess();
  return process != nullptr ? CkxTextView(process->Facts().copySource.path) : CkxTextView();
}

/// One answer for the path and its kind: where the file was copied from, its writer's program, or that program lay.
template <class Of>
CkxTextView CkxFileOrigin::_OfSource(Of of) const {
  if (!_installer.CopySource().path.empty()) return of(_installer.CopySource());
  const CkxFileSrcProcess* const process = SourceInstaller().MainProcess();
  if (process == nullptr) return {};
  const SkxFileSrcProcessFacts& facts = process->Facts();
  return facts.copySource.path.empty() ? of(facts) : of(facts.copySource);
}

CkxTextView CkxFileOrigin::SourcePath() const {
  return _OfSource([](const auto& source) { return CkxTextView(source.path); });
}

CkxTextView CkxFileOrigin::SourcePathType() const {
  return _OfSource([](const auto& source) { return CkxTextView(source.locationType); });
}

bool CkxFileOrigin::ToXml(std::string& text, bool withFile, bool withSourceTypes) const {
  return KxEntry(false, [&] {
    std::optional<std::string> printed = KxSourceXml_Text(kOriginElement, *this, {withFile, withSourceTypes});
    if (!printed) return Refuse(kKxXmlUnwritable);
    text = std::move(*printed);
    return true;
  });
}

bool CkxFileOrigin::ToXml(tinyxml2::XMLElement& parent, bool withFile, bool withSourceTypes) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, kOriginElement, *this, {withFile, withSourceTypes}); });
}

bool CkxFileOrigin::FromOwnXml(std::string_view text) {
  return KxEntry(false, [&] {
    const char* const fault = KxSourceXml_FromText(text, kOriginElement, *this);
    return fault == nullptr || Refuse(fault);
  });
}

bool CkxFileOrigin::FromEventXml(std::string_view text) {
  return KxEntry(false, [&] {
    const std::optional<CkxTiXmlDocument> event = CkxTiXmlDocument::Parse(text, kMaxEventBytes, kMaxEventDepth);
    if (!event) return Refuse(kKxXmlNoDocument);
    const tinyxml2::XMLElement* const origin = event->Find(kOriginElement);
    return origin != nullptr ? FromXml(*origin) : Refuse(kKxXmlOtherElement);
  });
}

bool CkxFileOrigin::FromXml(const tinyxml2::XMLElement& origin) {
  return KxEntry(false, [&] { return KxSourceXml_Read(origin, *this) || Refuse(kKxXmlTooMany); });
}

bool CkxFileOrigin::FromDrvData(const CkxDrvXmlData& data, const KxOriginLookup& originOf) {
  return KxEntry(false, [&] {
    CkxFileSrcInstaller installer = InstallerOf(data, originOf);
    if (installer.Processes().empty()) return Refuse("ERROR: The driver saw no process");
    CkxUtilStr path;
    data.GetOriginalPath(path);
    return FillFromInstaller(path.IsEmpty() ? CkxTextView(kUnknownPath) : path.View(), std::move(installer));
  });
}
