#include "Agent/engine/kx_publish/document/document_out.h"

#include <kx_util/admin_task.h>

#include <cstdio>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/model/derived_id.h"

std::string CkxDocumentOut::Utf8(CkxTextView text) {
  std::string utf8 = KxText_ToUtf8(text);
  if (KxText_FromUtf8(utf8) != text.ToString()) throw CkxDocumentFault("", "a text is not well-formed UTF-16");
  return utf8;
}

void CkxDocumentOut::LocationTypes(const char* key, KxWString& types) {
  if (types.empty()) return;
  Json names = Json::array();
  KxText_AnyField(types, KXW(','), [&names](CkxTextView name) {
    names.push_back(Utf8(name));
    return false;
  });
  _json[key] = std::move(names);
}

void CkxDocumentOut::Version(const char* key, uint64_t& version, uint16_t /*wildcardPart*/) {
  if (version == SkxVersionBounds::kOpen) return;
  std::string text;
  for (int shift = 48; shift >= 0; shift -= 16) {
    if (!text.empty()) text += '.';
    text += std::to_string(version >> shift & 0xFFFF);
  }
  _json[key] = std::move(text);
}

void CkxDocumentOut::FileNameAndHash(std::optional<SkxFileNameTest>& test) {
  if (!test.has_value()) return;
  const bool anyName = test->pattern == KXW("*") && test->compareAs == KxDefaultCompareAs(test->pattern);
  if (test->hash.empty() || !anyName) Property("fileName", test);
  if (test->hash.empty()) return;

  const KxWString prefix = test->hashAlgorithm + KXW("##");
  const CkxTextView text = test->hash;  // of another form it is no hash, as whoever reads the document will say
  Json& hash = _json["hash"];
  hash["algorithm"] = Utf8(test->hashAlgorithm);
  hash["hex"] = Utf8(KxText_StartsWith(text, prefix, false) ? text.Part(prefix.size()) : text);
  if (test->fileSize != -1) _json["fileSize"] = test->fileSize;
}

void CkxDocumentOut::ClassId(const char* key, std::optional<SkxTextTest>& test) {
  if (!test.has_value()) return;
  const std::optional<GUID> id = KxGuid_FromUtf8(KxText_ToUtf8(test->pattern));
  const bool asWritten = id.has_value() && KxGuid_ToText(*id) == test->pattern;
  if (asWritten && !test->caseSensitive && test->compareAs == SkxTextTest().compareAs) {
    _json[key] = KxGuid_ToUtf8(*id);
  } else {
    CkxDocumentOut out(_names);  // never as a mere text, which would be a class id
    KxFields(out, *test);
    _json[key] = std::move(out._json);
  }
}

void CkxDocumentOut::AccessMask(const char* key, uint32_t& mask) {
  char text[11];
  std::snprintf(text, sizeof(text), "0x%08X", mask);
  _json[key] = text;
}

void CkxDocumentOut::AdminTask(const char* key, uint32_t& task) {
  const CkxAdminTask* const known = CkxAdminTask::CreateInstance(task);
  _json[key] = known != nullptr ? Json(Utf8(known->Name())) : Json(task);
}

void CkxDocumentOut::Group(const char* key, GUID& id) {
  if (KxGuid_IsNull(id)) return;
  const SkxNamedThing* const group = _names.groups.Find(id);
  _json[key] = group != nullptr ? Utf8(group->name) : KxGuid_ToUtf8(id);
}

void CkxDocumentOut::Alert(const char* typeKey, const char* idKey, SkxAlertLinkModel& link) {
  const SkxNamedThing* const alert = _names.alerts.Find(link.alert);
  if (alert == nullptr || alert->alertType != link.type) Coded(typeKey, link.type, kKxAlertTypes);
  _json[idKey] = alert != nullptr ? Utf8(alert->name) : KxGuid_ToUtf8(link.alert);
}

void CkxDocumentOut::DerivedId(const char* key, GUID& id, const std::string& place) {
  if (!KxGuid_Equal(id, KxDerivedId(place))) Required(key, id);
}

void CkxDocumentOut::Kind(const char* key, SkxPolicyModel& policy) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  _json[key] = kind != nullptr ? Json(kind->key) : Json(static_cast<int32_t>(policy.action));
}

void CkxDocumentOut::Kind(const char* key, SkxAlertBody& body) { _json[key] = KxAlertKind_Of(body).key; }

void CkxDocumentOut::Targets(const char* key, std::vector<SkxTargetModel>& targets, const std::string& owner) {
  if (targets.empty()) return;
  Json& list = _json[key] = Json::array();
  for (size_t i = 0; i < targets.size(); ++i) {
    CkxDocumentOut out(_names);
    out._json["type"] = KxTargetKind_Of(targets[i].body).key;
    out.DerivedId("id", targets[i].id, owner + "/target/" + std::to_string(i));
    std::visit([&out](auto& body) { KxFields(out, body); }, targets[i].body);
    list.push_back(std::move(out._json));
  }
}
