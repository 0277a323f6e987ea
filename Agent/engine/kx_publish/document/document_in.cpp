#include "Agent/engine/kx_publish/document/document_in.h"

#include <kx_util/admin_task.h>

#include <algorithm>
#include <charconv>

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_publish/model/derived_id.h"
#include "Agent/engine/kx_util/regexp/regexp.h"
#include "Common_CPP/crypto/file_digest.h"

namespace {

using nlohmann::json;

/// Names for a fault: "a", "b" or "c".
template <class Range, class NameOf>
std::string Alternatives(const Range& range, NameOf nameOf) {
  std::string text;
  const size_t count = std::size(range);
  for (size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "\"" : i + 1 == count ? " or \"" : ", \"") + std::string(nameOf(range[i])) + "\"";
  }
  return text;
}

const std::string& Itself(const std::string& name) { return name; }

/// "1.2.3.4", fewer parts when the rest is 0, or "*" as the last part, which stands for `wildcardPart` from there on.
std::optional<uint64_t> ParseVersion(std::string_view text, uint16_t wildcardPart) {
  uint64_t version = 0;
  uint16_t rest = 0;
  int parts = 0;
  while (parts < 4) {
    const std::string_view part = text.substr(0, text.find('.'));
    const bool isLast = part.size() == text.size();
    if (part == "*" && isLast && parts > 0) {
      rest = wildcardPart;
      break;
    }
    uint16_t number = 0;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
    if (error != std::errc() || end != part.data() + part.size()) return std::nullopt;
    version = version << 16 | number;
    ++parts;
    if (isLast) break;
    text.remove_prefix(part.size() + 1);
    if (parts == 4) return std::nullopt;
  }
  for (; parts < 4; ++parts) version = version << 16 | rest;
  return version;
}

/// "0x" and one to eight digits.
bool ParseHex(std::string_view text, uint32_t& number) {
  if (!text.starts_with("0x")) return false;
  text.remove_prefix(2);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return error == std::errc() && end == text.data() + text.size();
}

/// Nothing would ever match it.
void CheckRegExp(const KxWString& pattern, const std::string& pointer) {
  const SkxRegExpError error = CkxRegExp().Parse(pattern, false);
  if (error.IsOk()) return;
  throw CkxDocumentFault(pointer, std::string("the regular expression does not compile: ") +
                                      KxRegExp_ErrorText(error.code) + ", at character " +
                                      std::to_string(error.position + 1));
}

std::string NearestTask(const json& value) {
  if (!value.is_string()) return {};
  std::vector<std::string> names;
  for (const CkxAdminTask& task : CkxAdminTask::All()) names.push_back(KxText_ToUtf8(task.Name()));
  return KxNearest_Question(value.get_ref<const std::string&>(), names);
}

void ReadHash(const json& value, const std::string& pointer, SkxFileNameTest& test) {
  CkxJsonObject object(value, pointer);
  const auto algorithm = object.Required<KxWString>("algorithm");
  const SkxFileDigestName* const known = KxFileDigest_Named(algorithm);
  if (known == nullptr) {
    const auto nameOf = [](const SkxFileDigestName& digest) { return KxText_ToUtf8(digest.name); };
    throw CkxDocumentFault(object.PointerTo("algorithm"),
                           "must be " + Alternatives(kKxFileDigestNames, nameOf) +
                               KxNearest_QuestionOf(KxText_ToUtf8(algorithm), kKxFileDigestNames, nameOf));
  }
  std::string hex = object.Required<std::string>("hex");
  object.Finish();

  const size_t digits = known->bytes * 2;
  if (hex.size() != digits || hex.find_first_not_of("0123456789abcdefABCDEF") != hex.npos) {
    throw CkxDocumentFault(object.PointerTo("hex"), "must be " + std::to_string(digits) + " hexadecimal digits");
  }
  std::transform(hex.begin(), hex.end(), hex.begin(),
                 [](char c) { return c >= 'a' ? static_cast<char>(c - 0x20) : c; });
  test.hashAlgorithm = known->name;
  test.hash = test.hashAlgorithm + KXW("##") + KxWString(hex.begin(), hex.end());
}

}  // namespace

const nlohmann::json& CkxDocumentIn::Find(const SkxKeyText& key) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) throw CkxDocumentFault(_object.Pointer(), std::string("\"") + key.name + "\" is missing");
  return *found;
}

void CkxDocumentIn::RefuseWord(const std::string& text, const std::string& pointer, KxCodeNames names) {
  std::string known;
  for (const SkxCodeName& each : names) known += std::string("\"") + each.name + "\", ";
  throw CkxDocumentFault(pointer,
                         "must be " + known + "or a number" + KxNearest_QuestionOf(text, names, &SkxCodeName::name));
}

void CkxDocumentIn::NotEmpty(const SkxKeyText& key, KxWString& text) {
  Required(key, text);
  if (text.empty()) throw CkxDocumentFault(PointerTo(key), "must not be empty");
}

void CkxDocumentIn::Optional(const SkxKeyText& key, std::optional<KxWString>& property,
                             const std::optional<KxWString>& /*byDefault*/) {
  if (FindOptional(key) != nullptr) NotEmpty(key, property.emplace());
}

void CkxDocumentIn::CompareAs(const SkxKeyText& key, uint16_t& code, const KxWString& pattern) {
  const Json* const found = FindOptional(key);
  code = found == nullptr ? KxDefaultCompareAs(pattern) : ReadCode<uint16_t>(*found, PointerTo(key), kKxCompareAs);
  if (code == static_cast<uint16_t>(EkxStrCompareAs::StrRegExp)) CheckRegExp(pattern, _object.PointerTo("pattern"));
}

void CkxDocumentIn::LocationTypes(const SkxKeyText& key, KxWString& types) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  if (!found->is_array()) throw CkxDocumentFault(pointer, "must be an array");
  const std::vector<std::string> names = KxLocationTypes();
  for (size_t i = 0; i < found->size(); ++i) {
    const auto known = std::find(names.begin(), names.end(), (*found)[i]);
    if (known == names.end()) {
      const std::string word = (*found)[i].is_string() ? (*found)[i].get<std::string>() : "";
      throw CkxDocumentFault(KxJson_Pointer(pointer, i),
                             "must be " + Alternatives(names, Itself) + KxNearest_Question(word, names));
    }
    if (!types.empty()) types += KXW(',');
    types.append(known->begin(), known->end());
  }
}

void CkxDocumentIn::Version(const SkxKeyText& key, uint64_t& version, uint16_t wildcardPart) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  const std::optional<uint64_t> parsed = ParseVersion(KxJson_As<std::string>(*found, pointer), wildcardPart);
  if (!parsed.has_value()) {
    throw CkxDocumentFault(pointer,
                           "must be a version: one to four numbers up to 65535 (\"1.2.3.4\"), the last may be \"*\"");
  }
  if (*parsed == SkxVersionBounds::kOpen)
    throw CkxDocumentFault(pointer, "this version cannot be a bound; leave the bound out");
  version = *parsed;
}

void CkxDocumentIn::FileNameAndHash(const SkxKeyText& key, std::optional<SkxFileNameTest>& test) {
  Optional(key, test, {});
  const Json* const hash = _object.Find("hash");
  const Json* const size = _object.Find("fileSize");
  if (hash != nullptr) {
    if (!test.has_value()) Read(Json("*"), "", test.emplace());
    ReadHash(*hash, _object.PointerTo("hash"), *test);
  }
  if (size != nullptr) {
    const std::string pointer = _object.PointerTo("fileSize");
    if (hash == nullptr) throw CkxDocumentFault(pointer, "a size counts only together with a hash");
    test->fileSize = KxJson_As<int64_t>(*size, pointer);
    if (test->fileSize < 0) throw CkxDocumentFault(pointer, "must not be negative");
  }
}

/// A text alone is a class id; anything else is a test as of any text.
void CkxDocumentIn::ClassId(const SkxKeyText& key, std::optional<SkxTextTest>& test) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  if (!found->is_string()) return Read(*found, pointer, test.emplace());
  GUID id{};
  Read(*found, pointer, id);
  test.emplace().pattern = KxGuid_ToText(id);
}

void CkxDocumentIn::AccessMask(const SkxKeyText& key, uint32_t& mask) {
  const Json& value = Find(key);
  const std::string pointer = PointerTo(key);
  if (!value.is_string()) {
    mask = KxJson_As<uint32_t>(value, pointer);
  } else if (!ParseHex(value.get_ref<const std::string&>(), mask)) {
    throw CkxDocumentFault(pointer, "must be a number, or \"0x\" and up to eight hexadecimal digits");
  }
}

void CkxDocumentIn::AdminTask(const SkxKeyText& key, uint32_t& task) {
  const Json& value = Find(key);
  const std::string pointer = PointerTo(key);
  const CkxAdminTask* known = nullptr;
  if (value.is_string()) {
    const auto name = KxJson_As<KxWString>(value, pointer);
    for (const CkxAdminTask& each : CkxAdminTask::All()) {
      if (KxText_Equals(each.Name(), name, false)) known = &each;
    }
  } else {
    known = CkxAdminTask::CreateInstance(KxJson_As<uint32_t>(value, pointer));
  }
  if (known == nullptr)
    throw CkxDocumentFault(pointer, "there is no administrative task of this name or number" + NearestTask(value));
  task = known->Id();
}

void CkxDocumentIn::Group(const SkxKeyText& key, GUID& id) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  const SkxNamedThing* const group = _names.groups.Find(KxJson_As<KxWString>(*found, pointer));
  if (group == nullptr)
    throw CkxDocumentFault(pointer,
                           "there is no application group of this name or id" +
                               KxNearest_Question(found->get_ref<const std::string&>(), _names.groups.Names()));

  id = group->id;
}

/// An alert of the publication says of which type it is. One that is published elsewhere goes by its id.
void CkxDocumentIn::Alert(const SkxKeyText& type, const SkxKeyText& id, SkxAlertLinkModel& link) {
  const Json& value = Find(id);
  const std::string pointer = PointerTo(id);
  const SkxNamedThing* const alert = _names.alerts.Find(KxJson_As<KxWString>(value, pointer));
  if (alert == nullptr) {
    const std::optional<GUID> elsewhere = KxGuid_FromUtf8(value.get_ref<const std::string&>());
    if (!elsewhere.has_value())
      throw CkxDocumentFault(pointer,
                             "must be the name of an alert or a GUID" +
                                 KxNearest_Question(value.get_ref<const std::string&>(), _names.alerts.Names()));

    link.alert = *elsewhere;
    return Coded(type, link.type, kKxAlertTypes);
  }
  link.alert = alert->id;
  link.type = alert->alertType;
  if (FindOptional(type) != nullptr) Coded(type, link.type, kKxAlertTypes);
  if (link.type != alert->alertType) throw CkxDocumentFault(PointerTo(type), "the alert is of another type");
}

void CkxDocumentIn::DerivedId(const SkxKeyText& key, GUID& id, const std::string& place) {
  const Json* const found = FindOptional(key);
  if (found != nullptr) return Read(*found, PointerTo(key), id);
  id = KxDerivedId(_place + place);
}

template <class Row, size_t count>
const Row& CkxDocumentIn::FindKind(const SkxKeyText& key, const Row (&kinds)[count]) {
  const std::string pointer = PointerTo(key);
  const auto name = KxJson_As<std::string>(Find(key), pointer);
  const Row* const kind = KxKind_Find(kinds, &Row::key, name.c_str());
  if (kind != nullptr) return *kind;
  std::vector<std::string> words;
  for (const Row& row : kinds) words.emplace_back(row.key);
  throw CkxDocumentFault(pointer, "must be " + Alternatives(words, Itself) + KxNearest_Question(name, words));
}

void CkxDocumentIn::Kind(const SkxKeyText& key, SkxPolicyModel& policy) {
  const SkxPolicyKind& kind = FindKind(key, kKxPolicyKinds);
  policy.action = kind.action;
  policy.params = kind.params();
}

void CkxDocumentIn::Kind(const SkxKeyText& key, SkxTargetModel& target) {
  target.body = FindKind(key, kKxTargetKinds).body();
}

void CkxDocumentIn::Kind(const SkxKeyText& key, SkxAlertModel& alert) {
  alert.body = FindKind(key, kKxAlertKinds).body();
}

void CkxDocumentIn::Targets(const SkxKeyText& key, std::vector<SkxTargetModel>& targets, const std::string& owner) {
  const Json* const found = FindOptional(key);
  if (found == nullptr) return;
  const std::string pointer = PointerTo(key);
  if (!found->is_array()) throw CkxDocumentFault(pointer, "must be an array");
  for (size_t i = 0; i < found->size(); ++i) {
    const std::string place = owner + "/target/" + std::to_string(i);
    ReadWhole((*found)[i], KxJson_Pointer(pointer, i), _names, targets.emplace_back(), place);
  }
}

void CkxDocumentIn::Read(const Json& value, const std::string& pointer, GUID& id) const {
  const std::optional<GUID> parsed = KxGuid_FromUtf8(KxJson_As<std::string>(value, pointer));
  if (!parsed.has_value()) throw CkxDocumentFault(pointer, "must be a GUID, {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}");
  id = *parsed;
}

void CkxDocumentIn::Read(const Json& value, const std::string& pointer, CkxSid& sid) const {
  const std::optional<CkxSid> parsed = CkxSid::FromUtf8(KxJson_As<std::string>(value, pointer));
  if (!parsed.has_value()) throw CkxDocumentFault(pointer, "must be a SID, S-1-...");
  sid = *parsed;
}
