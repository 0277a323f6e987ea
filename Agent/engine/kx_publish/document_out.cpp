#include "Agent/engine/kx_publish/document_out.h"

#include <algorithm>

#include "Agent/engine/kx_publish/derived_id.h"

void CkxDocumentOut::LocationTypes(const char* key, KxWString& types) {
  if (types.empty()) return;
  Json names = Json::array();
  KxText_AnyField(types, KXW(','), [&names](CkxTextView name) {
    names.push_back(KxText_ToUtf8(name));
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

  const std::string algorithm = KxText_ToUtf8(test->hashAlgorithm);
  const std::string text = KxText_ToUtf8(test->hash);
  Json& hash = _json["hash"];
  hash["algorithm"] = algorithm;
  if (text.starts_with(algorithm + "##")) {
    hash["hex"] = text.substr(algorithm.size() + 2);
  } else {
    hash["text"] = text;  // a record of another maker; no document can say this
  }
  if (test->fileSize != -1) _json["fileSize"] = test->fileSize;
}

void CkxDocumentOut::Group(const char* key, GUID& id) {
  if (KxGuid_IsNull(id)) return;
  const auto group =
      std::find_if(_groups.begin(), _groups.end(), [&id](const SkxAppGroupModel& g) { return KxGuid_Equal(g.id, id); });
  _json[key] = group != _groups.end() ? KxText_ToUtf8(group->name) : KxGuid_ToUtf8(id);
}

void CkxDocumentOut::DerivedId(const char* key, GUID& id, const std::string& place) {
  if (!KxGuid_Equal(id, KxDerivedId(place))) Required(key, id);
}

void CkxDocumentOut::Action(const char* key, SkxPolicyModel& policy) {
  const SkxPolicyKind* const kind = KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, policy.action);
  _json[key] = kind != nullptr ? Json(kind->key) : Json(static_cast<int32_t>(policy.action));
}

void CkxDocumentOut::Targets(const char* key, std::vector<SkxTargetModel>& targets, const std::string& owner) {
  if (targets.empty()) return;
  Json& list = _json[key] = Json::array();
  for (size_t i = 0; i < targets.size(); ++i) {
    CkxDocumentOut out(_groups);
    out._json["type"] = KxTargetKind_Of(targets[i].body).key;
    out.DerivedId("id", targets[i].id, owner + "/target/" + std::to_string(i));
    std::visit([&out](auto& body) { KxFields(out, body); }, targets[i].body);
    list.push_back(std::move(out._json));
  }
}
