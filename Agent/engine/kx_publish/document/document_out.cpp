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

void CkxDocumentOut::CompareAs(const SkxKeyText& key, uint16_t code, const KxWString& pattern) {
  if (code != KxDefaultCompareAs(pattern)) Coded(key, code, kKxCompareAs);
}

void CkxDocumentOut::LocationTypes(const SkxKeyText& key, const KxWString& types) {
  if (types.empty()) return;
  Json names = Json::array();
  KxText_AnyField(types, KXW(','), [&names](CkxTextView name) {
    names.push_back(Utf8(name));
    return false;
  });
  _json[key.name] = std::move(names);
}

void CkxDocumentOut::Version(const SkxKeyText& key, uint64_t version, uint16_t /*wildcardPart*/) {
  if (version == SkxVersionBounds::kOpen) return;
  std::string text;
  for (int shift = 48; shift >= 0; shift -= 16) {
    if (!text.empty()) text += '.';
    text += std::to_string(version >> shift & 0xFFFF);
  }
  _json[key.name] = std::move(text);
}

void CkxDocumentOut::FileNameAndHash(const SkxKeyText& key, const std::optional<SkxFileNameTest>& test) {
  if (!test.has_value()) return;
  const bool anyName = test->pattern == KXW("*") && test->compareAs == KxDefaultCompareAs(test->pattern);
  if (test->hash.empty() || !anyName) Optional(key, test, {});
  if (test->hash.empty()) return;

  const KxWString prefix = test->hashAlgorithm + KXW("##");
  const CkxTextView text = test->hash;  // of another form it is no hash, as whoever reads the document will say
  Json& hash = _json["hash"];
  hash["algorithm"] = Utf8(test->hashAlgorithm);
  hash["hex"] = Utf8(KxText_StartsWith(text, prefix, false) ? text.Part(prefix.size()) : text);
  if (test->fileSize != -1) _json["fileSize"] = test->fileSize;
}

void CkxDocumentOut::ClassId(const SkxKeyText& key, const std::optional<SkxTextTest>& test) {
  if (!test.has_value()) return;
  const std::optional<GUID> id = KxGuid_FromUtf8(KxText_ToUtf8(test->pattern));
  const bool asWritten = id.has_value() && KxGuid_ToText(*id) == test->pattern;
  if (asWritten && !test->caseSensitive && test->compareAs == SkxTextTest().compareAs) {
    _json[key.name] = KxGuid_ToUtf8(*id);
  } else {
    CkxDocumentOut out(_names, {});  // never as a mere text, which would be a class id
    KxDocument_Walk(out, *test);
    _json[key.name] = std::move(out._json);
  }
}

void CkxDocumentOut::AccessMask(const SkxKeyText& key, uint32_t mask) {
  char text[11];
  std::snprintf(text, sizeof(text), "0x%08X", mask);
  _json[key.name] = text;
}

void CkxDocumentOut::AdminTask(const SkxKeyText& key, uint32_t task) {
  const CkxAdminTask* const known = CkxAdminTask::CreateInstance(task);
  _json[key.name] = known != nullptr ? Json(Utf8(known->Name())) : Json(task);
}

void CkxDocumentOut::Group(const SkxKeyText& key, const GUID& id) {
  if (KxGuid_IsNull(id)) return;
  const SkxNamedThing* const group = _names.groups.Find(id);
  _json[key.name] = group != nullptr ? Utf8(group->name) : KxGuid_ToUtf8(id);
}

void CkxDocumentOut::Alert(const SkxKeyText& type, const SkxKeyText& id, const SkxAlertLinkModel& link) {
  const SkxNamedThing* const alert = _names.alerts.Find(link.alert);
  if (alert == nullptr || alert->alertType != link.type) Coded(type, link.type, kKxAlertTypes);
  _json[id.name] = alert != nullptr ? Utf8(alert->name) : KxGuid_ToUtf8(link.alert);
}

void CkxDocumentOut::DerivedId(const SkxKeyText& key, const GUID& id, const std::string& place) {
  if (!KxGuid_Equal(id, KxDerivedId(_place + place))) Required(key, id);
}

void CkxDocumentOut::Kind(const SkxKeyText& key, const SkxPolicyModel& policy) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  _json[key.name] = kind != nullptr ? Json(kind->key) : Json(static_cast<int32_t>(policy.action));
}

void CkxDocumentOut::Kind(const SkxKeyText& key, const SkxTargetModel& target) {
  _json[key.name] = KxTargetKind_Of(target.body).key;
}

void CkxDocumentOut::Kind(const SkxKeyText& key, const SkxAlertModel& alert) {
  _json[key.name] = KxAlertKind_Of(alert.body).key;
}

void CkxDocumentOut::Targets(const SkxKeyText& key, const std::vector<SkxTargetModel>& targets,
                             const std::string& owner) {
  if (targets.empty()) return;
  Json list = Json::array();
  for (size_t i = 0; i < targets.size(); ++i) {
    list.push_back(WriteWhole(targets[i], _names, owner + "/target/" + std::to_string(i)));
  }
  _json[key.name] = std::move(list);
}
