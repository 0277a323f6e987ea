#include "Agent/engine/kx_publish/events/event_targets.h"

#include <kx_util/target_info_file.h>

#include <algorithm>
#include <charconv>
#include <set>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/document/target_document_fields.h"
#include "Agent/engine/kx_publish/events/event_record.h"
#include "Common_CPP/crypto/file_digest.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

struct Word {
  const char* word;
  const char* meaning;
};

/// What recorders call the states of signatures. Any other word says nothing that we know.
constexpr Word kStatuses[] = {
    {"valid", "valid"},          {"trusted", "valid"},           {"unsigned", "unsigned"}, {"missing", "unsigned"},
    {"expired", "expired"},      {"revoked", "revoked"},         {"invalid", "invalid"},   {"distrusted", "invalid"},
    {"hashmismatch", "invalid"}, {"untrusted", "untrustedRoot"},
};

struct CollectionRow {
  const char* word;
  const char* kind;
  EkxPolicyTarget type;
};

constexpr CollectionRow kCollections[] = {
    {"EXE", kKxKindProcess, EkxPolicyTarget::Executable},
    {"DLL", kKxKindFile, EkxPolicyTarget::Dll},
    {"SCRIPT", kKxKindFile, EkxPolicyTarget::Script},
    {"MSI", kKxKindFile, EkxPolicyTarget::Msi},
};

constexpr const char* kFullElevation[] = {"%%1937", "Full", "TokenElevationTypeFull", "TokenElevationTypeFull (2)"};
constexpr const char* kNullSid = "S-1-0-0";
constexpr uint32_t kHighIntegrity = 0x3000;
constexpr const char* kScriptHash = "/hashes/SHA256";

ordered_json& At(ordered_json& document, const std::string& pointer) {
  return document[ordered_json::json_pointer(pointer)];
}
bool IsThere(const ordered_json& document, const char* pointer) {
  return document.contains(ordered_json::json_pointer(pointer));
}

std::string TextOf(const SkxEventValue& value) { return KxJson_As<std::string>(*value.json, value.pointer); }

bool IsSame(const std::string& a, const std::string& b) {
  return KxText_Equals(KxText_FromUtf8(a).value_or(KxWString()), KxText_FromUtf8(b).value_or(KxWString()), false);
}

/// Recorders of numbers write it for one that they do not know.
bool IsUnknownNumber(const json& value) { return value == -1 || value == "-1"; }

/// Digits, hexadecimal ones after "0x", or the number itself.
uint32_t NumberOf(const SkxEventValue& value) {
  if (!value.json->is_string()) return KxJson_As<uint32_t>(*value.json, value.pointer);
  const std::string text = TextOf(value);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  uint32_t number = 0;
  const char* const begin = text.data() + (isHexadecimal ? 2 : 0);
  const auto [end, error] = std::from_chars(begin, text.data() + text.size(), number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || end != text.data() + text.size()) throw CkxDocumentFault(value.pointer, "is no number");
  return number;
}

/// The digits alone; nothing for zeros, which recorders write for what they could not read.
std::string HashOf(const SkxFileDigestName& digest, std::string hex, const std::string& pointer) {
  if (hex.starts_with("0x") || hex.starts_with("0X")) hex.erase(0, 2);
  if (hex.size() != digest.bytes * 2 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw CkxDocumentFault(pointer, "is no " + KxText_ToUtf8(digest.name));
  }
  return hex.find_first_not_of('0') == std::string::npos ? "" : hex;
}

const SkxFileDigestName* DigestNamed(const std::string& name) {
  return KxFileDigest_Named(KxText_FromUtf8(name).value_or(KxWString()));
}

/// Writes a document from an event, a row of the table at a time.
class Writer {
 public:
  Writer(const SkxEventKind& kind, const CkxEventRecord& event) : _kind(kind), _event(event) {}

  ordered_json Document() {
    for (const SkxEventField& field : _kind.fields) {
      const SkxEventValue value = _event.Find(field.names);
      if (value.json != nullptr) Add(field, value);
    }
    if (!IsThere(_document, "/path")) throw CkxDocumentFault("", "has no path");
    AddUser();
    return Ordered();
  }

 private:
  void Add(const SkxEventField& field, const SkxEventValue& value) {
    switch (field.meaning) {
      case EkxEventMeaning::Id:
        if (value.json->is_structured()) throw CkxDocumentFault(value.pointer, "must be a text or a number");
        At(_document, field.member) = *value.json;
        break;
      case EkxEventMeaning::Text:
        At(_document, field.member) = TextOf(value);
        break;
      case EkxEventMeaning::Number:
        if (!IsUnknownNumber(*value.json)) At(_document, field.member) = NumberOf(value);
        break;
      case EkxEventMeaning::Version:
        if (KxTargetDocument_IsVersion(KxJson_As<KxWString>(*value.json, value.pointer))) {
          At(_document, field.member) = TextOf(value);
        }
        break;
      case EkxEventMeaning::Hash:
        AddHash(field.member, TextOf(value), value.pointer);
        break;
      case EkxEventMeaning::CoveredHash:
        AddHash(_collection == EkxPolicyTarget::Script ? kScriptHash : field.member, TextOf(value), value.pointer);
        break;
      case EkxEventMeaning::Hashes:
        AddHashes(value);
        break;
      case EkxEventMeaning::Status:
        At(_document, field.member) = StatusOf(TextOf(value));
        break;
      case EkxEventMeaning::Collection:
        AddCollection(value);
        break;
    }
  }

  void AddHash(const std::string& member, const std::string& hex, const std::string& pointer) {
    const SkxFileDigestName* const digest = DigestNamed(member.substr(member.rfind('/') + 1));
    const std::string digits = HashOf(*digest, hex, pointer);
    if (digits.empty()) return;
    ordered_json& hash = At(_document, member);
    if (!hash.is_null() && !IsSame(hash.get<std::string>(), digits)) {
      throw CkxDocumentFault(pointer, "there is another " + KxText_ToUtf8(digest->name));
    }
    hash = digits;
  }

  /// Algorithms that no policy asks for are passed over.
  void AddNamedHash(const std::string& name, const std::string& hex, const std::string& pointer) {
    const SkxFileDigestName* const digest = DigestNamed(name);
    if (digest != nullptr) AddHash("/hashes/" + KxText_ToUtf8(digest->name), hex, pointer);
  }

  void AddHashes(const SkxEventValue& value) {
    if (value.json->is_object()) {
      for (const auto& [name, hex] : value.json->items()) {
        const std::string pointer = KxJson_Pointer(value.pointer, name);
        AddNamedHash(name, KxJson_As<std::string>(hex, pointer), pointer);
      }
      return;
    }
    const std::string list = TextOf(value);
    for (size_t begin = 0; begin <= list.size();) {
      const size_t end = std::min(list.find(',', begin), list.size());
      const std::string hash = list.substr(begin, end - begin);
      const size_t equals = hash.find('=');
      if (equals == std::string::npos) throw CkxDocumentFault(value.pointer, "must be like \"SHA1=…,MD5=…\"");
      AddNamedHash(hash.substr(0, equals), hash.substr(equals + 1), value.pointer);
      begin = end + 1;
    }
  }

  static const char* StatusOf(const std::string& word) {
    for (const Word& status : kStatuses) {
      if (IsSame(word, status.word)) return status.meaning;
    }
    return "unknown";
  }

  void AddCollection(const SkxEventValue& value) {
    const std::string word = TextOf(value);
    for (const CollectionRow& row : kCollections) {
      if (!IsSame(word, row.word)) continue;
      _collection = row.type;
      _document[kKxTargetKind] = row.kind;
      _document["targetType"] = static_cast<uint32_t>(row.type);
      return;
    }
    throw CkxDocumentFault(value.pointer, "must be EXE, DLL, SCRIPT or MSI");
  }

  // --- the user ---

  static std::optional<CkxSid> SidOf(const SkxEventValue& value) {
    if (value.json == nullptr) return std::nullopt;
    const std::string text = TextOf(value);
    if (text == kNullSid) return std::nullopt;
    const std::optional<CkxSid> sid = CkxSid::FromUtf8(text);
    if (!sid && text.starts_with("S-1-")) throw CkxDocumentFault(value.pointer, "is no SID");
    return sid;  // a name in its place is none
  }

  /// Whether the process runs for its starter, as far as names tell.
  bool IsForItsStarter() const {
    const SkxEventUser& user = _kind.user;
    for (size_t i = 0; i < user.names.size(); ++i) {
      const SkxEventValue name = _event.Find(std::span(user.names).subspan(i, 1));
      const SkxEventValue starter = _event.Find(std::span(user.starterNames).subspan(i, 1));
      if (name.json == nullptr) continue;
      if (starter.json == nullptr || !IsSame(TextOf(name), TextOf(starter))) return false;
    }
    return true;
  }

  std::optional<CkxSid> User() const {
    const std::optional<CkxSid> sid = SidOf(_event.Find(_kind.user.sid));
    return sid || !IsForItsStarter() ? sid : SidOf(_event.Find(_kind.user.starterSid));
  }

  void AddUser() {
    const std::optional<CkxSid> sid = User();
    if (!sid) return;
    ordered_json& user = _document[kKxTargetUser] = {{"sid", sid->ToUtf8()}};
    const std::optional<CkxSid> label = SidOf(_event.Find(_kind.user.label));
    if (label) user["groups"].push_back(label->ToUtf8());
    const SkxEventValue elevation = _event.Find(_kind.user.elevation);
    if (elevation.json == nullptr) return;
    const std::string word = TextOf(elevation);
    const auto isWord = [&](const char* full) { return word == full; };
    // Somebody has two tokens for less than administration too; the one of high integrity is an administrator's.
    const bool isFull = std::any_of(std::begin(kFullElevation), std::end(kFullElevation), isWord);
    if (isFull && label && IntegrityOf(*label) >= kHighIntegrity) user["admin"] = true;
  }

  /// Of S-1-16-N the N, else 0.
  static uint32_t IntegrityOf(const CkxSid& label) {
    const std::string text = label.ToUtf8();
    const std::string_view prefix = "S-1-16-";
    uint32_t level = 0;
    if (text.starts_with(prefix)) std::from_chars(text.data() + prefix.size(), text.data() + text.size(), level);
    return level;
  }

  // --- the whole ---

  const char* KindOf() const {
    if (!_kind.goesByExtension) return kKxKindProcess;
    const KxWString path = KxText_FromUtf8(_document.at("path").get<std::string>()).value_or(KxWString());
    const bool isProgram = CkxTargetInfoFile::TypeOfPath(path) == EkxPolicyTarget::Executable;
    return isProgram ? kKxKindProcess : kKxKindFile;
  }

  /// The id and the kind first; a parent is of a kind too, and without a path it is nobody.
  ordered_json Ordered() const {
    ordered_json document = ordered_json::object();
    if (_document.contains(kKxTargetId)) document[kKxTargetId] = _document[kKxTargetId];
    document[kKxTargetKind] = _document.contains(kKxTargetKind) ? _document[kKxTargetKind] : ordered_json(KindOf());
    document.update(_document);
    if (!IsThere(document, "/parent")) return document;
    if (!IsThere(document, "/parent/path")) {
      document.erase(kKxTargetParent);
      return document;
    }
    ordered_json parent = {{kKxTargetKind, kKxKindProcess}};
    parent.update(document[kKxTargetParent]);
    document[kKxTargetParent] = std::move(parent);
    return document;
  }

  const SkxEventKind& _kind;
  const CkxEventRecord& _event;
  ordered_json _document = ordered_json::object();
  EkxPolicyTarget _collection = EkxPolicyTarget::Invalid;
};

/// Every field that is there begins with one of what the kind has for it.
bool AreMet(const SkxEventKind& kind, const CkxEventRecord& event) {
  std::set<std::string> met;
  std::set<std::string> given;
  for (const SkxEventCondition& condition : kind.conditions) {
    if (condition.field == nullptr) break;
    const SkxEventValue value = event.Find(std::span(&condition.field, 1));
    if (value.json == nullptr) continue;
    given.insert(condition.field);
    if (TextOf(value).starts_with(condition.beginning)) met.insert(condition.field);
  }
  return met == given;
}

bool IsStart(const SkxEventKind& kind, const CkxEventRecord& event) {
  if (kind.source == nullptr) return AreMet(kind, event);
  const uint32_t number = event.Number();
  const bool isOne = number != 0 && std::find(kind.numbers.begin(), kind.numbers.end(), number) != kind.numbers.end();
  return isOne && event.IsFrom(kind.source);
}

bool IsEmptyText(const json& value) { return value.is_string() && value.get_ref<const std::string&>().empty(); }

/// A line of a log of queries, which may have been about anything.
class LoggedResult {
 public:
  LoggedResult(const SkxEventKind& kind, const json& line) : _kind(kind), _line(line) {}

  SkxEventTargets Targets() {
    if (!_line.is_object()) throw CkxDocumentFault("", "must be an object");
    if (_line.contains("columns")) {
      AddRow(_line["columns"], "/columns");
    } else if (_line.contains("snapshot")) {
      AddRows(_line["snapshot"], "/snapshot");
    } else if (_line.contains("diffResults")) {
      AddDifference(_line["diffResults"], "/diffResults");
    } else {
      throw CkxDocumentFault("", "has neither columns, a snapshot nor diffResults");
    }
    return std::move(_targets);
  }

 private:
  void AddRow(const json& row, const std::string& pointer) {
    if (!row.is_object()) throw CkxDocumentFault(pointer, "must be an object");
    const bool isGone = _line.contains("action") && _line["action"] == "removed";
    try {
      const CkxEventRecord event(row);
      // Threads of the kernel stand among the processes, without a path.
      const bool isProcess = row.contains("pid") && row.contains("path") && !IsEmptyText(row["path"]);
      if (isGone || !isProcess || !IsStart(_kind, event)) {
        ++_targets.skipped;
        return;
      }
      _targets.documents.push_back(Writer(_kind, event).Document());
    } catch (const CkxDocumentFault& fault) {
      throw CkxDocumentFault(pointer + fault.Pointer(), fault.what());
    }
  }

  void AddRows(const json& rows, const std::string& pointer) {
    if (!rows.is_array()) throw CkxDocumentFault(pointer, "must be an array");
    for (size_t i = 0; i < rows.size(); ++i) AddRow(rows[i], KxJson_Pointer(pointer, i));
  }

  /// Rows that were added; an empty text stands for none.
  void AddDifference(const json& difference, const std::string& pointer) {
    if (!difference.is_object()) throw CkxDocumentFault(pointer, "must be an object");
    for (const auto& [key, rows] : difference.items()) {
      if (IsEmptyText(rows)) continue;
      if (key == "added") {
        AddRows(rows, KxJson_Pointer(pointer, key));
      } else {
        _targets.skipped += rows.is_array() ? rows.size() : 1;
      }
    }
  }

  const SkxEventKind& _kind;
  const json& _line;
  SkxEventTargets _targets;
};

}  // namespace

SkxEventTargets KxEvents_Targets(const SkxEventKind& kind, const json& event) {
  if (kind.isTable) return LoggedResult(kind, event).Targets();
  SkxEventTargets targets;
  const CkxEventRecord record(event);
  if (IsStart(kind, record)) {
    targets.documents.push_back(Writer(kind, record).Document());
  } else {
    ++targets.skipped;
  }
  return targets;
}
