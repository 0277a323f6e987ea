#include "Agent/engine/kx_publish/document/target_document_out.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_publish/document/target_document_fields.h"
#include "Agent/engine/kx_util/target/pe_version_info.h"
#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/file/file.h"
#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/path.h"

namespace {

using nlohmann::ordered_json;

constexpr const WCHAR* kHashes[] = {KXW("SHA1"), KXW("SHA256"), KXW("AUTHENTICODE-SHA1"), KXW("AUTHENTICODE-SHA256")};

/// Of every version resource; others may be there too.
constexpr const WCHAR* kVersionFields[] = {
    KXW("Comments"),     KXW("CompanyName"),    KXW("FileDescription"), KXW("FileVersion"),
    KXW("InternalName"), KXW("LegalCopyright"), KXW("LegalTrademarks"), KXW("OriginalFilename"),
    KXW("PrivateBuild"), KXW("ProductName"),    KXW("ProductVersion"),  KXW("SpecialBuild"),
};

constexpr const WCHAR* kInstallerProperties[] = {KXW("Manufacturer"),   KXW("ProductCode"), KXW("ProductName"),
                                                 KXW("ProductVersion"), KXW("UpgradeCode"), KXW("ProductLanguage")};

std::string Utf8(CkxTextView text) {
  std::string utf8 = KxText_ToUtf8(text);
  if (KxText_FromUtf8(utf8) != text.ToString()) throw CkxDocumentFault("", "a text is not well-formed UTF-16");
  return utf8;
}

// --- facts of a description ---

std::optional<KxWString> TextOf(const WCHAR* text) {
  return text != nullptr ? std::optional<KxWString>(text) : std::nullopt;
}

/// The names of the fields beside those that every version resource has, in capitals.
std::vector<KxWString> OtherVersionFields(const CkxTargetInfoFile& file) {
  if (file.IsSystemProcess()) return {};
  const CkxImpersonationScope asUser(file.UserToken());
  CkxFileReader reader;
  if (!reader.OpenForFacts(file.GetPath())) return {};
  const std::optional<SkxPeVersionInfo> info = KxPe_ReadVersionInfo(reader);
  std::vector<KxWString> names;
  if (!info) return names;
  for (const auto& field : info->fields) {
    const bool isUsual = std::any_of(std::begin(kVersionFields), std::end(kVersionFields),
                                     [&](const WCHAR* known) { return KxText_Equals(known, field.first, false); });
    if (!isUsual) names.push_back(field.first);
  }
  return names;
}

std::map<KxWString, KxWString> VersionInfoOf(const CkxTargetInfoFile& file) {
  std::map<KxWString, KxWString> fields;
  const auto add = [&](const WCHAR* name) {
    if (const WCHAR* const text = file.GetVersionInfo(name)) fields[name] = text;
  };
  for (const WCHAR* const name : kVersionFields) add(name);
  for (const KxWString& name : OtherVersionFields(file)) add(name.c_str());
  return fields;
}

std::map<KxWString, KxWString> InstallerPropertiesOf(const CkxTargetInfoFile& file) {
  std::map<KxWString, KxWString> properties;
  for (const WCHAR* const name : kInstallerProperties) {
    if (const WCHAR* const text = file.GetMsiProperty(name)) properties[name] = text;
  }
  return properties;
}

std::map<KxWString, KxWString> HashesOf(const CkxTargetInfoFile& file) {
  std::map<KxWString, KxWString> hashes;
  for (const WCHAR* const algorithm : kHashes) {
    const CkxTextView hash = file.GetHashStringUsing(algorithm);
    if (!hash.IsNull()) hashes[algorithm] = hash.Part(KxText_FindLastUnit(hash, KXW('#')) + 1).ToString();
  }
  return hashes;
}

/// Up to the first of which nothing is known: they are told by their places.
std::vector<SkxSigner> SignersOf(const CkxTargetInfoFile& file) {
  std::vector<SkxSigner> signers;
  for (const bool second : {false, true}) {
    SkxSigner signer;
    signer.name = TextOf(file.GetPublisher(second, signer.status)).value_or(KxWString());
    if (signer.status == EkxPublisherStatus::Unknown) break;
    signers.push_back(std::move(signer));
  }
  return signers;
}

SkxFileFacts FactsOf(const CkxTargetInfoFile& file) {
  SkxFileFacts facts;
  facts.path = TextOf(file.GetPath()).value_or(KxWString());
  facts.targetType = static_cast<uint32_t>(file.TargetType());
  if (file.GetFileSize() >= 0) facts.size = file.GetFileSize();
  if (file.GetModificationTime() != 0) facts.modificationTime = file.GetModificationTime();
  facts.hashes = HashesOf(file);
  facts.signers = SignersOf(file);
  if (file.GetOwner() != nullptr) facts.owner = *file.GetOwner();
  facts.ownerName = TextOf(file.GetOwnerDomainUserName());
  facts.fileVersion = TextOf(file.GetVersionStr());
  facts.versionInfo = VersionInfoOf(file);
  facts.msiProperties = InstallerPropertiesOf(file);
  if (file.AppPackage() != nullptr) facts.appPackage = *file.AppPackage();
  facts.executionLevel = TextOf(file.GetRequestedExecutionLevel());
  if (file.Program() != nullptr) facts.program = *file.Program();
  if (file.Media() != nullptr) facts.media = *file.Media();
  facts.origin = file.SharedOrigin();
  facts.urlZone = file.UrlZone();
  return facts;
}

SkxProcessFacts FactsOf(const CkxTargetInfoProcess& process) {
  SkxProcessFacts facts;
  facts.pid = process.Pid();
  facts.commandLine = process.CommandLine();
  facts.services = process.ServiceNames();
  facts.surroundings = process.Surroundings();
  return facts;
}

SkxTargetUser UserOf(void* token) {
  SkxTargetUser user;
  user.sid = KxToken_User(token);
  if (!user.sid) user.sid = CkxSid::FromUtf8(kKxNobody);
  user.groups = KxToken_Groups(token).value_or(std::vector<CkxSid>());
  user.denyOnlyGroups = KxToken_DenyOnlyGroups(token).value_or(std::vector<CkxSid>());
  user.isAdministrator = KxToken_IsAdministrator(token);
  return user;
}

// --- facts as JSON ---

/// Writes the members that target_document_fields.h lists; what is not there, or is as it is when nothing is said, is
/// left out.
class TargetOut {
 public:
  explicit TargetOut(ordered_json& object) : _object(object) {}

  template <class Number>
  void Value(const char* key, const Number& number) {
    if (number != Number()) _object[key] = number;
  }
  template <class Number>
  void Value(const char* key, const std::optional<Number>& number) {
    if (number) _object[key] = *number;
  }
  void Value(const char* key, const KxWString& text) {
    if (!text.empty()) _object[key] = Utf8(text);
  }
  void Value(const char* key, const std::optional<KxWString>& text) {
    if (text) _object[key] = Utf8(*text);
  }
  void Amount(const char* key, const std::optional<int64_t>& number) { Value(key, number); }
  template <class Text>
  void Version(const char* key, const Text& version) {
    Value(key, version);
  }
  void Texts(const char* key, const std::map<KxWString, KxWString>& texts) {
    for (const auto& [name, text] : texts) _object[key][Utf8(name)] = Utf8(text);
  }
  void Sid(const char* key, const std::optional<CkxSid>& sid) {
    if (sid) _object[key] = sid->ToUtf8();
  }
  void Sids(const char* key, const std::vector<CkxSid>& sids) {
    if (sids.empty()) return;
    for (const CkxSid& sid : sids) _object[key].push_back(sid.ToUtf8());
  }
  void Names(const char* key, const std::vector<KxWString>& names, bool isGiven) {
    if (!isGiven) return;
    _object[key] = ordered_json::array();
    for (const KxWString& name : names) _object[key].push_back(Utf8(name));
  }
  void Hashes(const char* key, const std::map<KxWString, KxWString>& hashes) { Texts(key, hashes); }
  void Signers(const char* key, const std::vector<SkxSigner>& signers) {
    for (const SkxSigner& signer : signers) {
      TargetOut out(_object[key].emplace_back(ordered_json::object()));
      KxTargetFields_Signer(out, signer);
    }
  }
  void Status(const char* key, EkxPublisherStatus status) { _object[key] = KxPublisherStatus_Row(status).key; }
  void Package(const char* key, const std::optional<SkxAppPackageFacts>& package) {
    if (package) Inside(key, [&](TargetOut& out) { KxTargetFields_Package(out, *package); });
  }
  void Level(const char* key, const std::optional<KxWString>& level) { Value(key, level); }
  void Program(const char* key, const std::optional<SkxProgramFacts>& program) {
    if (program) Inside(key, [&](TargetOut& out) { KxTargetFields_Program(out, *program); });
  }
  void Origin(const char* key, const std::shared_ptr<const CkxFileOrigin>& origin) {
    if (origin != nullptr) _object[key] = KxOriginDocument_Write(*origin);
  }
  void CopySource(const char* key, const SkxFileSrcCopySource& source) {
    ordered_json object = KxOriginDocument_Write(source);
    if (!object.empty()) _object[key] = std::move(object);
  }
  void Deleted(const char* key, const char* fileIdKey, const std::optional<uint64_t>& fileId) {
    if (!fileId) return;
    _object[key] = true;
    _object[fileIdKey] = *fileId;
  }
  void Media(const char* key, const std::optional<SkxMediaFacts>& media) {
    if (media) Inside(key, [&](TargetOut& out) { KxTargetFields_Media(out, *media); });
  }

 private:
  /// Writes the object `key`.
  template <class Write>
  void Inside(const char* key, Write write) {
    TargetOut out(_object[key] = ordered_json::object());
    write(out);
  }

  ordered_json& _object;
};

/// Writes a target and, inside it, its parent and what is linked to it; remembers which drives they lie on.
class TargetWriter {
 public:
  ordered_json Target(const CkxTargetInfo& target) {
    if (!target.IsTargetInfoFile()) throw CkxDocumentFault("", "neither a file nor a process");
    const auto& file = static_cast<const CkxTargetInfoFile&>(target);
    const SkxFileFacts facts = FactsOf(file);
    if (const WCHAR drive = KxPath_DriveLetter(facts.path)) _drives.insert(drive);
    ordered_json object = {{kKxTargetKind, target.IsTargetInfoProcess() ? kKxKindProcess : kKxKindFile}};
    TargetOut out(object);
    KxTargetFields_File(out, facts);
    if (target.IsTargetInfoProcess()) Process(static_cast<const CkxTargetInfoProcess&>(target), object);
    return object;
  }

  static ordered_json User(void* token) {
    ordered_json object = ordered_json::object();
    TargetOut out(object);
    const SkxTargetUser user = UserOf(token);
    KxTargetFields_User(out, user);
    return object;
  }

  /// As the user of `token` has them.
  void Machine(void* token, ordered_json& object) const {
    const CkxImpersonationScope asUser(token);
    for (const WCHAR letter : _drives) {
      const std::string name(1, static_cast<char>(letter));
      const EkxDriveType type = KxMachine_Facts().DriveType(letter);
      const WCHAR* const word = type != EkxDriveType::Unknown ? KxDriveType_Word(type) : nullptr;
      if (word != nullptr) object[kKxTargetDrives][name] = Utf8(word);
    }
    for (const WCHAR letter : _drives) {
      const std::string name(1, static_cast<char>(letter));
      const std::optional<KxWString> share = KxMachine_Facts().MappedShare(letter);
      if (share) object[kKxTargetMappedDrives][name] = Utf8(*share);
    }
    const CkxTextView windows = KxMachine_Facts().WindowsFolder();
    if (!windows.IsEmpty()) object[kKxTargetWindowsFolder] = Utf8(windows);
  }

 private:
  void Process(const CkxTargetInfoProcess& process, ordered_json& object) {
    TargetOut out(object);
    const SkxProcessFacts facts = FactsOf(process);
    KxTargetFields_Process(out, facts);
    if (process.Parent() != nullptr) object[kKxTargetParent] = Nested(*process.Parent(), process.UserToken());
    for (const CkxTargetInfoPtr& linked : process.Linked()) {
      object[kKxTargetLinked].push_back(Nested(*linked, process.UserToken()));
    }
  }

  /// With a user of its own when that is another one.
  ordered_json Nested(const CkxTargetInfo& target, void* outerToken) {
    ordered_json object = Target(target);
    if (target.UserToken() == outerToken) return object;
    ordered_json user = User(target.UserToken());
    if (user != User(outerToken)) object[kKxTargetUser] = std::move(user);
    return object;
  }

  std::set<WCHAR> _drives;
};

}  // namespace

ordered_json KxTargetDocument_Write(const CkxTargetInfoFile& target) {
  const CkxEntryScope asking;  // until its end a fault stays noted: what could not be had is not what there is not
  if (!asking.IsOpen()) throw std::bad_alloc();
  TargetWriter writer;
  ordered_json object = writer.Target(target);
  writer.Machine(target.UserToken(), object);
  object[kKxTargetUser] = TargetWriter::User(target.UserToken());
  const EkxEvaluationFault fault = KxFault_Current();
  if (fault == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  if (fault != EkxEvaluationFault::None) throw CkxDocumentFault("", std::string(KxUtil_FaultText(fault)));
  return object;
}
