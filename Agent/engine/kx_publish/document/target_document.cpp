#include "Agent/engine/kx_publish/document/target_document.h"

#include <kx_util/target_info_kinds.h>
#include <kx_util/target_info_process.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/document/origin_document.h"
#include "Agent/engine/kx_publish/document/target_document_fields.h"
#include "Agent/engine/kx_util/target/execution_level.h"
#include "Agent/engine/kx_util/target/publisher_status.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/file/path.h"

namespace {

using nlohmann::json;

/// Parents of parents, and what is linked to what is linked: more than this is no real launch.
constexpr unsigned kMaxNesting = 64;

class RecordedMachine : public IkxMachineFacts {
 public:
  std::map<WCHAR, EkxDriveType> drives;
  std::map<WCHAR, KxWString> shares;
  KxWString windowsFolder;

  EkxDriveType DriveType(WCHAR letter) const override {
    const auto drive = drives.find(letter);
    return drive != drives.end() ? drive->second : EkxDriveType::Unknown;
  }
  std::optional<KxWString> MappedShare(WCHAR letter) const override {
    const auto share = shares.find(letter);
    if (share == shares.end()) return std::nullopt;
    return share->second;
  }
  CkxTextView WindowsFolder() const override { return windowsFolder; }
};

CkxSid SidAt(const std::string& text, const std::string& pointer) {
  const std::optional<CkxSid> sid = CkxSid::FromUtf8(text);
  if (!sid) throw CkxDocumentFault(pointer, "\"" + text + "\" is no SID");
  return *sid;
}

/// Each member of the object `key`, if there is one: `each(name, value, pointer)`.
template <class Each>
void ForEachMember(CkxJsonObject& object, const char* key, Each each) {
  const json* const members = object.Find(key);
  if (members == nullptr) return;
  const std::string pointer = object.PointerTo(key);
  if (!members->is_object()) throw CkxDocumentFault(pointer, "must be an object");
  for (const auto& [name, value] : members->items()) each(name, value, KxJson_Pointer(pointer, name));
}

template <class Each>
void ForEachElement(CkxJsonObject& object, const char* key, Each each) {
  const json* const elements = object.Find(key);
  if (elements == nullptr) return;
  const std::string pointer = object.PointerTo(key);
  if (!elements->is_array()) throw CkxDocumentFault(pointer, "must be an array");
  for (size_t i = 0; i < elements->size(); ++i) each((*elements)[i], KxJson_Pointer(pointer, i));
}

WCHAR DriveLetterAt(const std::string& name, const std::string& pointer) {
  const WCHAR letter =
      name.size() == 1 ? KxPath_DriveLetter(KxWString{static_cast<WCHAR>(name[0]), KXW(':')}) : WCHAR{};
  if (letter == 0) throw CkxDocumentFault(pointer, "\"" + name + "\" is no drive letter");
  return letter;
}

EkxDriveType DriveTypeAt(const std::string& name, const std::string& pointer) {
  const std::optional<EkxDriveType> type = KxDriveType_Of(KxText_FromUtf8(name).value_or(KxWString()), true);
  if (!type) {
    const auto wordOf = [](const SkxDriveTypeWord& row) { return KxText_ToUtf8(row.word); };
    throw CkxDocumentFault(pointer,
                           "\"" + name + "\" is no drive type" + KxNearest_QuestionOf(name, kKxDriveTypeWords, wordOf));
  }
  return *type;
}

KxWString HashAt(const json& value, const std::string& pointer) {
  const auto hex = KxJson_As<std::string>(value, pointer);
  if (hex.empty() || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw CkxDocumentFault(pointer, "is not hexadecimal");
  }
  return KxJson_As<KxWString>(value, pointer);
}

/// A number, or its name.
EkxPublisherStatus PublisherStatusAt(const json& value, const std::string& pointer) {
  const uint32_t code = value.is_string() ? 0 : KxJson_As<uint32_t>(value, pointer);
  std::string names;
  for (const SkxPublisherStatusRow& row : kKxPublisherStatuses) {
    if (value.is_string() ? value == row.key : code == static_cast<uint32_t>(row.status)) return row.status;
    names.append(names.empty() ? "" : ", ").append(row.key);
  }
  const std::string word = value.is_string() ? value.get<std::string>() : "";
  throw CkxDocumentFault(pointer, "must be 0 to 8, or one of " + names +
                                      KxNearest_QuestionOf(word, kKxPublisherStatuses, &SkxPublisherStatusRow::key));
}

std::string ExecutionLevelAt(const json& value, const std::string& pointer) {
  auto level = KxJson_As<std::string>(value, pointer);
  std::string names;
  for (const std::string_view known : kKxExecutionLevels) {
    if (level == known) return level;
    names.append(names.empty() ? "" : ", ").append(known);
  }
  throw CkxDocumentFault(pointer,
                         "must be one of " + names + KxNearest_QuestionOf(level, kKxExecutionLevels, std::identity()));
}

/// Reads the members that target_document_fields.h lists.
class TargetIn {
 public:
  explicit TargetIn(CkxJsonObject& object) : _object(object) {}

  template <class Value_>
  void Value(const char* key, Value_& value) {
    _object.Optional(key, value);
  }

  void Amount(const char* key, std::optional<int64_t>& number) {
    _object.Optional(key, number);
    if (number && *number < 0) throw CkxDocumentFault(_object.PointerTo(key), "must not be negative");
  }

  /// A text, which is a version where it is given.
  template <class Text>
  void Version(const char* key, Text& version) {
    KxWString text;
    if (!_object.Optional(key, text)) return;
    if (!KxTargetDocument_IsVersion(text))
      throw CkxDocumentFault(_object.PointerTo(key), "is no version: must be like \"1.2.3.4\"");
    version = std::move(text);
  }

  void Texts(const char* key, std::map<KxWString, KxWString>& texts) {
    ForEachMember(_object, key, [&](const std::string& name, const json& value, const std::string& pointer) {
      texts[KxJson_As<KxWString>(json(name), pointer)] = KxJson_As<KxWString>(value, pointer);
    });
  }

  void Sid(const char* key, std::optional<CkxSid>& sid) {
    std::string text;
    if (_object.Optional(key, text)) sid = SidAt(text, _object.PointerTo(key));
  }

  void Sids(const char* key, std::vector<CkxSid>& sids) {
    ForEachElement(_object, key, [&](const json& value, const std::string& pointer) {
      sids.push_back(SidAt(KxJson_As<std::string>(value, pointer), pointer));
    });
  }

  void Names(const char* key, std::vector<KxWString>& names, bool& isGiven) {
    isGiven = _object.Find(key) != nullptr;
    ForEachElement(_object, key, [&](const json& value, const std::string& pointer) {
      names.push_back(KxJson_As<KxWString>(value, pointer));
    });
  }

  void Hashes(const char* key, std::map<KxWString, KxWString>& hashes) {
    ForEachMember(_object, key, [&](const std::string& name, const json& value, const std::string& pointer) {
      const auto text = KxJson_As<KxWString>(json(name), pointer);
      const SkxFileDigestName* const known = KxFileDigest_Named(text);
      if (known == nullptr) {
        const auto nameOf = [](const SkxFileDigestName& digest) { return KxText_ToUtf8(digest.name); };
        throw CkxDocumentFault(
            pointer, "\"" + name + "\" is no hash algorithm" + KxNearest_QuestionOf(name, kKxFileDigestNames, nameOf));
      }
      hashes[known->name] = HashAt(value, pointer);
    });
  }

  void Signers(const char* key, std::vector<SkxSigner>& signers) {
    ForEachElement(_object, key, [&](const json& value, const std::string& pointer) {
      if (signers.size() == 2) throw CkxDocumentFault(pointer, "a file has at most two signers");
      CkxJsonObject object(value, pointer);
      TargetIn in(object);
      KxTargetFields_Signer(in, signers.emplace_back());
      object.Finish();
    });
  }

  void Status(const char* key, EkxPublisherStatus& status) {
    if (const json* const value = _object.Find(key)) status = PublisherStatusAt(*value, _object.PointerTo(key));
  }

  void Package(const char* key, std::optional<SkxAppPackageFacts>& package) {
    Inside(key, [&](TargetIn& in) { KxTargetFields_Package(in, package.emplace()); });
  }

  void Level(const char* key, std::optional<KxWString>& level) {
    if (const json* const value = _object.Find(key)) {
      level = KxText_FromUtf8(ExecutionLevelAt(*value, _object.PointerTo(key)));
    }
  }

  void Program(const char* key, std::optional<SkxProgramFacts>& program) {
    Inside(key, [&](TargetIn& in) { KxTargetFields_Program(in, program.emplace()); });
  }

  /// The record as JSON, or its element as text.
  void Origin(const char* key, std::shared_ptr<const CkxFileOrigin>& origin) {
    const json* const value = _object.Find(key);
    if (value == nullptr) return;
    auto read = std::make_shared<CkxFileOrigin>();
    if (!value->is_string()) {
      KxOriginDocument_Read(*value, _object.PointerTo(key), *read);
    } else if (!read->FromOwnXml(KxJson_As<std::string>(*value, _object.PointerTo(key)))) {
      throw CkxDocumentFault(_object.PointerTo(key), "is no record of an origin");
    }
    origin = std::move(read);
  }

  void CopySource(const char* key, SkxFileSrcCopySource& source) {
    if (const json* const value = _object.Find(key)) KxOriginDocument_Read(*value, _object.PointerTo(key), source);
  }

  /// Without the number that the file had it is 0.
  void Deleted(const char* key, const char* fileIdKey, std::optional<uint64_t>& fileId) {
    bool isDeleted = false;
    uint64_t number = 0;
    _object.Optional(key, isDeleted);
    if (_object.Optional(fileIdKey, number) && !isDeleted) {
      throw CkxDocumentFault(_object.PointerTo(fileIdKey), std::string("needs \"") + key + "\": true");
    }
    if (isDeleted) fileId = number;
  }

  void Media(const char* key, std::optional<SkxMediaFacts>& media) {
    Inside(key, [&](TargetIn& in) { KxTargetFields_Media(in, media.emplace()); });
  }

 private:
  /// The members of the object `key`, if there is one.
  template <class Read>
  void Inside(const char* key, Read read) {
    const json* const value = _object.Find(key);
    if (value == nullptr) return;
    CkxJsonObject object(*value, _object.PointerTo(key));
    TargetIn in(object);
    read(in);
    object.Finish();
  }

  CkxJsonObject& _object;
};

SkxFileFacts FileFactsOf(CkxJsonObject& object) {
  SkxFileFacts facts;
  TargetIn in(object);
  KxTargetFields_File(in, facts);
  return facts;
}

struct RequestFacts {
  uint32_t kind = 0;
  KxWString url;
};

RequestFacts RequestOf(CkxJsonObject& object) {
  RequestFacts request;
  if (const json* const value = object.Find("request")) {
    CkxJsonObject fields(*value, object.PointerTo("request"));
    fields.Optional("kind", request.kind);
    fields.Optional("url", request.url);
    fields.Finish();
  }
  return request;
}

SkxServerFacts ServerFactsOf(CkxJsonObject& object) {
  SkxServerFacts facts;
  TargetIn in(object);
  KxTargetFields_Server(in, facts);
  return facts;
}

SkxProcessFacts ProcessFactsOf(CkxJsonObject& object) {
  SkxProcessFacts facts;
  TargetIn in(object);
  KxTargetFields_Process(in, facts);
  return facts;
}

/// Builds the description of a document and, inside out, those of its parent and of what is linked to it.
class TargetBuilder {
 public:
  explicit TargetBuilder(std::vector<std::unique_ptr<CkxAccessToken>>& tokens) : _tokens(tokens) {}

  /// Every key of every kind is checked, whatever the kind: a recorder may write more than the kind has use for.
  CkxTargetInfoPtr Target(CkxJsonObject& object, void* token, unsigned nesting = 0) {
    const auto kind = object.Required<std::string>(kKxTargetKind);
    SkxFileFacts file = FileFactsOf(object);
    SkxProcessFacts process = ProcessFactsOf(object);
    SkxServerFacts server = ServerFactsOf(object);
    RequestFacts request = RequestOf(object);
    CkxTargetInfoPtr parent = Parent(object, token, nesting);
    std::vector<CkxTargetInfoPtr> linked = Linked(object, token, nesting);

    if (kind == kKxKindFile) return Made(std::make_unique<CkxTargetInfoFile>(std::move(file), token));
    if (kind == "activex")
      return Made(std::make_unique<CkxTargetInfoActiveX>(std::move(file), std::move(server), token));
    if (kind == "uaccom") return Made(std::make_unique<CkxTargetInfoUacCOM>(std::move(file), std::move(server), token));
    if (kind == "elevator") {
      const std::optional<EkxPolicyTarget> type =
          file.targetType ? std::optional(static_cast<EkxPolicyTarget>(*file.targetType)) : std::nullopt;
      return Made(std::make_unique<CkxTargetInfoElevator>(request.kind, std::move(request.url), token, false, type));
    }
    if (kind == kKxKindProcess) {
      auto made = std::make_unique<CkxTargetInfoProcess>(std::move(file), std::move(process), token);
      made->SetParent(std::move(parent));
      for (CkxTargetInfoPtr& target : linked) made->AddLinked(std::move(target));
      return Made(std::move(made));
    }
    constexpr const char* kKinds[] = {"file", "process", "activex", "elevator", "uaccom"};
    throw CkxDocumentFault(object.PointerTo(kKxTargetKind),
                           "\"" + kind + "\" is not \"file\", \"process\", \"activex\", \"elevator\" or \"uaccom\"" +
                               KxNearest_QuestionOf(kind, kKinds, std::identity()));
  }

  /// The token of a target of which no user is known: not that of whoever asks.
  void* Nobody() { return Keep(std::make_unique<CkxAccessToken>(SidAt(kKxNobody, ""), std::vector<CkxSid>{}, false)); }

  /// The token of the object's own user, or `otherwise`.
  void* Token(CkxJsonObject& object, void* otherwise) {
    const json* const user = object.Find(kKxTargetUser);
    return user != nullptr ? Keep(KxTargetDocument_User(*user, object.PointerTo(kKxTargetUser))) : otherwise;
  }

  void* Keep(std::unique_ptr<CkxAccessToken> token) {
    _tokens.push_back(std::move(token));
    return _tokens.back()->Handle();
  }

 private:
  static CkxTargetInfoPtr Made(std::unique_ptr<CkxTargetInfo> target) { return CkxTargetInfoPtr(target.release()); }

  CkxTargetInfoPtr Nested(const json& value, const std::string& pointer, void* token, unsigned nesting) {
    if (nesting == kMaxNesting) throw CkxDocumentFault(pointer, "targets nest too deep");
    CkxJsonObject object(value, pointer);
    object.Find(kKxTargetId);
    CkxTargetInfoPtr target = Target(object, Token(object, token), nesting + 1);
    object.Finish();
    return target;
  }

  CkxTargetInfoPtr Parent(CkxJsonObject& object, void* token, unsigned nesting) {
    const json* const parent = object.Find(kKxTargetParent);
    return parent != nullptr ? Nested(*parent, object.PointerTo(kKxTargetParent), token, nesting) : nullptr;
  }

  std::vector<CkxTargetInfoPtr> Linked(CkxJsonObject& object, void* token, unsigned nesting) {
    std::vector<CkxTargetInfoPtr> linked;
    ForEachElement(object, kKxTargetLinked, [&](const json& value, const std::string& pointer) {
      linked.push_back(Nested(value, pointer, token, nesting));
    });
    return linked;
  }

  std::vector<std::unique_ptr<CkxAccessToken>>& _tokens;
};

}  // namespace

// What is none would read as 0.
bool KxTargetDocument_IsVersion(CkxTextView text) {
  if (text.IsEmpty()) return true;
  for (int fields = 1;; ++fields) {
    uint32_t number = 0;
    size_t digits = 0;
    for (; digits < text.Size() && text[digits] >= KXW('0') && text[digits] <= KXW('9') && number <= UINT16_MAX;
         ++digits) {
      number = number * 10 + (text[digits] - KXW('0'));
    }
    if (digits == 0 || number > UINT16_MAX) return false;
    text = text.Part(digits);
    if (text.IsEmpty()) return true;
    if (fields == 4) return text.Front() == KXW(' ');
    if (text.Front() != KXW('.')) return false;
    text = text.Part(1);
  }
}

std::unique_ptr<IkxMachineFacts> KxTargetDocument_Machine(CkxJsonObject& object) {
  auto machine = std::make_unique<RecordedMachine>();
  ForEachMember(object, kKxTargetDrives, [&](const std::string& name, const json& value, const std::string& pointer) {
    machine->drives[DriveLetterAt(name, pointer)] = DriveTypeAt(KxJson_As<std::string>(value, pointer), pointer);
  });
  ForEachMember(object, kKxTargetMappedDrives,
                [&](const std::string& name, const json& value, const std::string& pointer) {
                  auto share = KxJson_As<KxWString>(value, pointer);
                  if (!KxPath_IsUnc(share)) throw CkxDocumentFault(pointer, "must be a \\\\server\\share");
                  machine->shares[DriveLetterAt(name, pointer)] = std::move(share);
                });
  if (object.Optional(kKxTargetWindowsFolder, machine->windowsFolder) &&
      KxPath_DriveLetter(machine->windowsFolder) == 0) {
    throw CkxDocumentFault(object.PointerTo(kKxTargetWindowsFolder), "must be like C:\\Windows");
  }
  return machine;
}

std::unique_ptr<CkxAccessToken> KxTargetDocument_User(const json& value, const std::string& pointer) {
  CkxJsonObject object(value, pointer);
  object.Required<std::string>("sid");
  SkxTargetUser user;
  TargetIn in(object);
  KxTargetFields_User(in, user);
  object.Finish();
  return std::make_unique<CkxAccessToken>(*user.sid, std::move(user.groups), user.isAdministrator,
                                          std::move(user.denyOnlyGroups));
}

CkxTargetDocument CkxTargetDocument::Parse(std::string_view text, const std::optional<CkxSid>& user) {
  return FromJson(CkxJsonDocument(text, false).Root(), user);
}

CkxTargetDocument CkxTargetDocument::FromJson(const json& value, const std::optional<CkxSid>& user) {
  const CkxEntryScope building;
  const auto requireMemory = [&building] {
    if (!building.IsOpen() || KxFault_Current() == EkxEvaluationFault::OutOfMemory) throw std::bad_alloc();
  };
  try {
    CkxTargetDocument document;
    TargetBuilder builder(document._tokens);
    CkxJsonObject object(value, "");
    if (const json* const id = object.Find(kKxTargetId)) document._idJson = id->dump();
    document._machine = KxTargetDocument_Machine(object);
    void* token = builder.Token(object, nullptr);
    if (user) token = builder.Keep(std::make_unique<CkxAccessToken>(*user, std::vector<CkxSid>{}, false));
    if (token == nullptr) token = builder.Nobody();
    document._target = builder.Target(object, token);
    object.Finish();
    requireMemory();  // a description does not throw: without memory it lacks a fact, and would be judged without it
    return document;
  } catch (const CkxDocumentFault&) {
    requireMemory();
    throw;
  }
}
