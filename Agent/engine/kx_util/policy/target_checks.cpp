#include "Agent/engine/kx_util/policy/target_checks.h"
#include <kx_util/match_file.h>
#include <kx_util/match_location.h>
#include <kx_util/shared_policy_target.h>

#include <algorithm>

#include "Agent/engine/kx_util/property/remembered_drive.h"
#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/text.h"

namespace {

/// Calls `actual(text)` for what was there.
template <class Prop, class Actual>
bool Check(const char* name, const Prop& prop, bool matched, Actual actual) {
  return KxObserve_Check(name, matched, [&](CkxUtilStr& expectedText, CkxUtilStr& actualText) {
    KxPropText_Append(expectedText, prop);
    actual(actualText);
  });
}

CkxTextView Or(CkxTextView text, const WCHAR* otherwise) { return text.IsEmpty() ? CkxTextView(otherwise) : text; }

CkxTextView FileNameOf(const IkxPathProvider& file) { return Or(KxPath_FileName(file.GetPath()), KXW("no path")); }

bool IsOtherSize(const CkxShBufPropFileName& expected, const IkxHashProvider& file) {
  return expected.FileSize() != IkxPathProvider::kUnknownSize && expected.FileSize() != file.GetFileSize();
}

void AppendHash(CkxUtilStr& text, const CkxShBufPropFileName& expected, const IkxHashProvider& file) {
  const CkxTextView hash = file.GetHashStringUsing(expected.HashAlgorithm().ToString().c_str());
  if (!hash.IsNull()) return text.Append(hash);
  const int64_t size = file.GetFileSize();
  if (size == IkxPathProvider::kUnknownSize || static_cast<uint64_t>(size) <= KxUtil_HashLimit()) {
    return text.Append(KXW("no such hash"));
  }
  KxText_AppendFormat(text, KXW("no such hash: %I64d bytes are over the limit"), size);
}

void AppendSigner(CkxUtilStr& text, const IkxPublisherProvider& file) {
  EkxPublisherStatus status = EkxPublisherStatus::Unknown;
  const CkxTextView name = file.GetPublisher(false, status);
  KxText_AppendFormat(text, KXW("%s (%s)"), Or(name, KXW("no signer")), KxPublisherStatus_Row(status).words);
}

template <class Process>
bool CheckArguments(const CkxShBufPropArguments& arguments, const Process& process, bool areKnown) {
  const auto match = [&] { return areKnown && arguments.Match(process.CommandLine(), process.GetPath()); };
  return Check("arguments", arguments, !arguments.Initialized() || match(),
               [&](CkxUtilStr& text) { text.Append(Or(process.CommandLine(), KXW("no command line"))); });
}

const WCHAR* ProductVersionText(const CkxTargetInfoFile& file) {
  return file.IsTargetType(EkxPolicyTarget::Msi) ? file.GetMsiProperty(KXW("ProductVersion"))
                                                 : file.GetProductVersionStr();
}

}  // namespace

bool KxCheck_Kind(bool matched, const WCHAR* expected, const CkxTargetInfo& target) {
  return KxObserve_Check("kind", matched, [&](CkxUtilStr& expectedText, CkxUtilStr& actualText) {
    expectedText.Append(expected);
    actualText.Append(KxUtil_PolicyTargetTypeStr(target.TargetType()));
    if (target.IsTargetInfoProcess()) return actualText.Append(KXW(" process"));
    if (target.IsTargetInfoFile()) actualText.Append(KXW(" file"));
  });
}

bool KxCheck_Arguments(const CkxShBufPropArguments& arguments, const CkxTargetInfoProcess& process) {
  return CheckArguments(arguments, process, true);
}

bool KxCheck_Arguments(const CkxShBufPropArguments& arguments, const CkxFileSrcProcess& process) {
  return CheckArguments(arguments, process, !process.Facts().arguments.empty());
}

bool KxCheck_FileName(const CkxShBufPropFileName& fileName, const IkxPathProvider& file) {
  return Check("fileName", fileName, fileName.MatchFileName(file),
               [&](CkxUtilStr& text) { text.Append(FileNameOf(file)); });
}

bool KxCheck_FileNameAndHash(const CkxShBufPropFileName& fileName, const IkxHashProvider& file) {
  const bool matched = fileName.MatchFileNameAndHash(file);
  if (matched || KxObserve_Steps() == nullptr) return matched;
  // The first thing in the order of the matching that is not as expected.
  if (!KxUtil_MatchFilename(file, fileName.Pattern(), fileName.CompareAs())) {
    return Check("fileName", fileName, false, [&](CkxUtilStr& text) { text.Append(FileNameOf(file)); });
  }
  if (IsOtherSize(fileName, file)) {
    return KxObserve_Check("fileSize", false, [&](CkxUtilStr& expected, CkxUtilStr& actual) {
      KxText_AppendFormat(expected, KXW("%I64d bytes"), fileName.FileSize());
      KxText_AppendFormat(actual, KXW("%I64d bytes"), file.GetFileSize());
    });
  }
  return KxObserve_Check("hash", false, [&](CkxUtilStr& expected, CkxUtilStr& actual) {
    expected.Append(fileName.Hash());
    AppendHash(actual, fileName, file);
  });
}

bool KxCheck_Location(const CkxShBufPropFileLocation& location, const IkxPathProvider& file) {
  return Check("location", location, location.Match(file), [&](CkxUtilStr& text) {
    KxText_AppendFormat(text, KXW("%s, on %s"), Or(file.GetPath(), KXW("no path")), KxUtil_GetFileLocationType(file));
  });
}

bool KxCheck_Location(const CkxShBufPropFileLocation& location, const CkxFileSrcProcess& process) {
  if (!location.Initialized()) return true;
  const CkxRememberedDrive drive(process.Facts().locationType);
  const CkxMachineFactsScope scope(drive);
  return KxCheck_Location(location, static_cast<const IkxPathProvider&>(process));
}

bool KxCheck_ServiceName(const CkxShBufPropSvcName& serviceName, CkxTextView services) {
  return Check("serviceName", serviceName, serviceName.Match(services),
               [&](CkxUtilStr& text) { text.Append(Or(services, KXW("no services"))); });
}

bool KxCheck_Owners(const CkxShBufPropFileOwners& owners, const IkxOwnerProvider& file) {
  return Check("owners", owners, owners.Match(file), [&](CkxUtilStr& text) {
    const CkxSid* const owner = file.GetOwner();
    text.Append(owner != nullptr ? CkxTextView(owner->ToText()) : CkxTextView(KXW("no owner")));
  });
}

bool KxCheck_FileVersion(const CkxShBufPropVersionRange& range, const CkxTargetInfoFile& file) {
  return Check("fileVersion", range, !range.Initialized() || range.Match(file.GetVersion()),
               [&](CkxUtilStr& text) { text.Append(Or(file.GetVersionStr(), KXW("no version"))); });
}

bool KxCheck_ProductVersion(const CkxShBufPropVersionRange& range, const CkxTargetInfoFile& file) {
  return Check("productVersion", range, !range.Initialized() || range.Range().Contains(ProductVersionText(file)),
               [&](CkxUtilStr& text) { text.Append(Or(ProductVersionText(file), KXW("no version"))); });
}

bool KxCheck_VersionFields(const CkxShBufPropFileVerInfos& fields, const IkxVersionInfoProvider& file) {
  return Check("versionFields", fields, fields.Match(file), [&](CkxUtilStr& text) {
    for (const CkxPropNode<CkxShBufPropFileVerInfo>& node : fields.Elements()) {
      if (node.prop.Match(file)) continue;
      const KxWString field = node.prop.Field().ToString();
      return KxText_AppendFormat(text, KXW("%s is %s"), field, Or(file.GetVersionInfo(field.c_str()), KXW("missing")));
    }
  });
}

bool KxCheck_Publishers(const CkxShBufPropPublishers& publishers, const IkxPublisherProvider& file) {
  return Check("publishers", publishers, publishers.Match(file, true),
               [&](CkxUtilStr& text) { AppendSigner(text, file); });
}

bool KxCheck_ParentProcess(const CkxShBufPropParentProcess& parent, const CkxTargetInfoProcess& process) {
  return Check("parentProcess", parent, parent.Match(process, false), [&](CkxUtilStr& text) {
    const CkxTargetInfo* const actual = process.Parent();
    const IkxPathProvider* const path = actual != nullptr ? actual->QueryPathProvider() : nullptr;
    text.Append(path != nullptr ? Or(path->GetPath(), KXW("no path")) : CkxTextView(KXW("unknown")));
  });
}

bool KxCheck_Url(const CkxShBufPropStr& url, CkxTextView requested) {
  return Check("url", url, url.Pattern().IsEmpty() || (!requested.IsEmpty() && url.Match(requested)),
               [&](CkxUtilStr& text) { text.Append(Or(requested, KXW("no address"))); });
}

bool KxCheck_Text(const char* name, const CkxShBufPropStr& prop, CkxTextView actual) {
  return Check(name, prop, !prop.Initialized() || (!actual.IsEmpty() && prop.Match(actual)),
               [&](CkxUtilStr& text) { text.Append(Or(actual, KXW("unknown"))); });
}

bool KxCheck_InstallerProperties(const CkxShBufPropFileMsiInfos& properties, const CkxTargetInfoFile& package) {
  return Check("installerProperties", properties, properties.Match(package), [&](CkxUtilStr& text) {
    for (const CkxPropNode<CkxShBufPropFileMsiInfo>& node : properties.Elements()) {
      if (node.prop.Match(package)) continue;
      const KxWString property = node.prop.Property().ToString();
      return KxText_AppendFormat(text, KXW("%s is %s"), property,
                                 Or(package.GetMsiProperty(property.c_str()), KXW("missing")));
    }
  });
}

bool KxCheck_PackageVersion(const CkxShBufPropVersionRange& range, const SkxAppPackageFacts& package) {
  return Check("packageVersion", range, !range.Initialized() || range.Range().Contains(package.version.c_str()),
               [&](CkxUtilStr& text) { text.Append(Or(package.version, KXW("no version"))); });
}

bool KxCheck_Capabilities(const CkxShBufPropCapabilities& capabilities, const SkxAppPackageFacts& package) {
  const auto declares = [&](CkxTextView name) {
    const auto same = [&](const KxWString& declared) { return KxText_Equals(name, declared, false); };
    return std::any_of(package.capabilities.begin(), package.capabilities.end(), same);
  };
  const auto asExpected = [&](const CkxPropNode<CkxShBufPropCapability>& node) {
    if (!node.prop.Initialized()) return true;
    return package.capabilitiesKnown && KxWork_Spend(package.capabilities.size()) &&
           declares(node.prop.Name()) == node.prop.Flag();
  };
  bool matched = true;
  for (const CkxPropNode<CkxShBufPropCapability>& node : capabilities.Elements()) matched = matched && asExpected(node);
  return Check("capabilities", capabilities, matched, [&](CkxUtilStr& text) {
    if (!package.capabilitiesKnown) return text.Append(KXW("unknown"));
    const WCHAR* separator = KXW("");
    for (const KxWString& declared : package.capabilities) {
      KxText_AppendFormat(text, KXW("%s%s"), separator, declared);
      separator = KXW(", ");
    }
    if (package.capabilities.empty()) text.Append(KXW("none"));
  });
}

bool KxCheck_Users(const CkxShBufTargetUsers& users, void* token) {
  const bool matched = users.View().IsEmpty() || users.IsApplicableToUserOC(token);
  return KxObserve_Check("users", matched, [&](CkxUtilStr& expected, CkxUtilStr& actual) {
    const std::optional<CkxSid> user = KxToken_User(token);
    expected.Append(users.View());
    actual.Append(user ? CkxTextView(user->ToText()) : CkxTextView(KXW("no user")));
  });
}
