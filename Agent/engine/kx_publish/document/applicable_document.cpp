#include "Agent/engine/kx_publish/document/applicable_document.h"

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/security/sid.h"

namespace {

std::string CanonicalKey(const std::string& key, const std::string& pointer) {
  if (key == kKxEverybodyKey) return key;
  const std::optional<CkxSid> sid = CkxSid::FromUtf8(key);
  if (!sid.has_value()) throw CkxDocumentFault(pointer, "the key must be a SID (\"S-1-...\") or \"*\"");
  return sid->ToUtf8();
}

}  // namespace

SkxApplicableRows KxApplicable_Read(const nlohmann::json& json, const std::string& pointer) {
  if (!json.is_object()) throw CkxDocumentFault(pointer, "must be an object");
  SkxApplicableRows rows;
  for (const auto& [key, ids] : json.items()) {
    const std::string rowPointer = KxJson_Pointer(pointer, key);
    if (!ids.is_array()) throw CkxDocumentFault(rowPointer, "must be an array of policy ids");
    const auto [row, isNew] = rows.try_emplace(CanonicalKey(key, rowPointer));
    if (!isNew) throw CkxDocumentFault(rowPointer, "the SID has another row");
    for (size_t i = 0; i < ids.size(); ++i)
      row->second.push_back(KxJson_As<uint32_t>(ids[i], KxJson_Pointer(rowPointer, i)));
  }
  return rows;
}

SkxApplicableRows KxApplicable_Parse(const std::string& text) {
  return KxApplicable_Read(CkxJsonDocument(text, false).Root(), "");
}

std::string KxApplicable_Write(const SkxApplicableRows& rows) {
  std::string text = "{";
  for (const auto& [key, ids] : rows) {
    text += (text.size() == 1 ? "\n  " : ",\n  ") + nlohmann::json(key).dump() + ": [";
    for (const uint32_t id : ids) text += (text.back() == '[' ? "" : ",") + std::to_string(id);
    text += ']';
  }
  return text + "\n}\n";
}
