#include "Agent/engine/kx_publish/document_in.h"

#include <algorithm>
#include <charconv>

#include "Agent/engine/kx_publish/derived_id.h"
#include "Common_CPP/crypto/hash.h"

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

const char* Itself(const char* name) { return name; }

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

constexpr size_t kHexDigits[] = {32, 40, 64, 96, 128};  // by EkxHashAlgorithm

void ReadHash(const json& value, const std::string& pointer, SkxFileNameTest& test) {
  CkxJsonObject object(value, pointer);
  const auto algorithm = KxHash_FromName(object.Required<KxWString>("algorithm"));
  if (!algorithm.has_value()) {
    throw CkxDocumentFault(object.PointerTo("algorithm"),
                           "must be \"MD5\", \"SHA1\", \"SHA256\", \"SHA384\" or \"SHA512\"");
  }
  std::string hex = object.Required<std::string>("hex");
  object.Finish();

  const size_t digits = kHexDigits[static_cast<size_t>(*algorithm)];
  if (hex.size() != digits || hex.find_first_not_of("0123456789abcdefABCDEF") != hex.npos) {
    throw CkxDocumentFault(object.PointerTo("hex"), "must be " + std::to_string(digits) + " hexadecimal digits");
  }
  std::transform(hex.begin(), hex.end(), hex.begin(),
                 [](char c) { return c >= 'a' ? static_cast<char>(c - 0x20) : c; });
  test.hashAlgorithm = KxHash_Name(*algorithm);
  test.hash = test.hashAlgorithm + KXW("##") + KxWString(hex.begin(), hex.end());
}

}  // namespace

bool SkxGroupDirectory::Has(const GUID& id) const {
  return std::any_of(byName.begin(), byName.end(), [&id](const auto& group) { return KxGuid_Equal(group.second, id); });
}

const nlohmann::json& CkxDocumentIn::Find(const char* key) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) throw CkxDocumentFault(_object.Pointer(), std::string("\"") + key + "\" is missing");
  return *found;
}

void CkxDocumentIn::Name(const char* key, KxWString& text) {
  Required(key, text);
  if (text.empty()) throw CkxDocumentFault(_object.PointerTo(key), "must not be empty");
}

void CkxDocumentIn::Property(const char* key, std::optional<KxWString>& property) {
  if (_object.Find(key) != nullptr) Name(key, property.emplace());
}

/// Besides a list an object, field name to test: {"CompanyName": "Vendor*"}.
void CkxDocumentIn::Property(const char* key, std::optional<KxElements<SkxVersionFieldTest>>& property) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  const std::string pointer = _object.PointerTo(key);
  if (!found->is_object()) return Read(*found, pointer, property.emplace());
  property.emplace();
  for (const auto& [field, test] : found->items()) {
    const std::string fieldPointer = KxJson_Pointer(pointer, field);
    SkxVersionFieldTest& read = property->emplace_back().emplace();
    Read(test, fieldPointer, static_cast<SkxTextTest&>(read));
    read.field = KxJson_As<KxWString>(Json(field), fieldPointer);
    if (read.field.empty()) throw CkxDocumentFault(fieldPointer, "a version field has a name");
  }
}

void CkxDocumentIn::LocationTypes(const char* key, KxWString& types) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  std::vector<std::string> names;
  const std::string pointer = _object.PointerTo(key);
  if (!found->is_array()) throw CkxDocumentFault(pointer, "must be an array");
  for (size_t i = 0; i < found->size(); ++i) {
    const auto known = std::find(std::begin(kKxLocationTypes), std::end(kKxLocationTypes), (*found)[i]);
    if (known == std::end(kKxLocationTypes)) {
      throw CkxDocumentFault(KxJson_Pointer(pointer, i), "must be " + Alternatives(kKxLocationTypes, Itself));
    }
    const std::string_view name = *known;
    if (!types.empty()) types += KXW(',');
    types.append(name.begin(), name.end());
  }
}

void CkxDocumentIn::Version(const char* key, uint64_t& version, uint16_t wildcardPart) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  const std::string pointer = _object.PointerTo(key);
  const std::optional<uint64_t> parsed = ParseVersion(KxJson_As<std::string>(*found, pointer), wildcardPart);
  if (!parsed.has_value()) {
    throw CkxDocumentFault(pointer,
                           "must be a version: one to four numbers up to 65535 (\"1.2.3.4\"), the last may be \"*\"");
  }
  if (*parsed == SkxVersionBounds::kOpen)
    throw CkxDocumentFault(pointer, "this version cannot be a bound; leave the bound out");
  version = *parsed;
}

void CkxDocumentIn::FileNameAndHash(std::optional<SkxFileNameTest>& test) {
  Property("fileName", test);
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

void CkxDocumentIn::Group(const char* key, GUID& id) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  const std::string pointer = _object.PointerTo(key);
  const auto named = _groups.byName.find(KxJson_As<KxWString>(*found, pointer));
  const std::optional<GUID> written = KxGuid_FromUtf8(found->get_ref<const std::string&>());
  if (named != _groups.byName.end()) {
    id = named->second;
  } else if (written.has_value() && _groups.Has(*written)) {
    id = *written;
  } else {
    throw CkxDocumentFault(pointer, "there is no application group of this name or id");
  }
}

void CkxDocumentIn::DerivedId(const char* key, GUID& id, const std::string& place) {
  const Json* const found = _object.Find(key);
  if (found != nullptr) return Read(*found, _object.PointerTo(key), id);
  id = KxDerivedId(place);
}

void CkxDocumentIn::Action(const char* key, SkxPolicyModel& policy) {
  const std::string pointer = _object.PointerTo(key);
  const auto name = KxJson_As<std::string>(Find(key), pointer);
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::key, name.c_str());
  if (kind == nullptr) {
    throw CkxDocumentFault(pointer,
                           "must be " + Alternatives(kKxPolicyKinds, [](const SkxPolicyKind& k) { return k.key; }));
  }
  policy.action = kind->action;
  policy.params = kind->params();
}

void CkxDocumentIn::Targets(const char* key, std::vector<SkxTargetModel>& targets, const std::string& owner) {
  const Json* const found = _object.Find(key);
  if (found == nullptr) return;
  const std::string pointer = _object.PointerTo(key);
  if (!found->is_array()) throw CkxDocumentFault(pointer, "must be an array");
  for (size_t i = 0; i < found->size(); ++i) {
    Read((*found)[i], KxJson_Pointer(pointer, i), targets.emplace_back(), owner + "/target/" + std::to_string(i));
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

void CkxDocumentIn::Read(const Json& value, const std::string& pointer, SkxTargetModel& target,
                         const std::string& place) const {
  CkxDocumentIn in(value, pointer, _groups);
  const auto type = in._object.Required<std::string>("type");
  const SkxTargetKind* const kind = KxKind_Find(kKxTargetKinds, &SkxTargetKind::key, type.c_str());
  if (kind == nullptr) {
    throw CkxDocumentFault(in._object.PointerTo("type"),
                           "must be " + Alternatives(kKxTargetKinds, [](const SkxTargetKind& k) { return k.key; }));
  }
  in.DerivedId("id", target.id, place);
  target.body = kind->body();
  std::visit(
      [&](auto& body) {
        KxFields(in, body);
        in._object.Finish();
        if (const char* const fault = KxFaultOf(body)) throw CkxDocumentFault(pointer, fault);
      },
      target.body);
}
