#include "Agent/engine/kx_publish/applicable_rules.h"

#include <algorithm>

#include "Agent/engine/kx_publish/json_reader.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const char* kEverybody = "*";
constexpr const char* kScope = "CkxApplicableRules";

std::string CanonicalKey(const std::string& key, const std::string& pointer) {
  if (key == kEverybody) return key;
  const std::optional<CkxSid> sid = CkxSid::FromUtf8(key);
  if (!sid.has_value()) throw CkxDocumentFault(pointer, "the key must be a SID (\"S-1-...\") or \"*\"");
  return sid->ToUtf8();
}

/// Any total order will do.
bool Before(const CkxSid& a, const CkxSid& b) {
  if (a.Size() != b.Size()) return a.Size() < b.Size();
  return std::memcmp(a.Bytes(), b.Bytes(), a.Size()) < 0;
}

/// A row that the agent's answer would make mean "none" is that: an empty one, and one that begins with 0.
std::shared_ptr<const CkxApplicablePolicies> AnswerOf(const std::vector<uint32_t>& ids) {
  const bool isNone = ids.empty() || ids.front() == 0;
  return std::make_shared<const CkxApplicablePolicies>(isNone ? std::vector<uint32_t>() : ids);
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
  return KxApplicable_Read(KxJson_Parse(text, false), "");
}

std::string KxApplicable_Write(const SkxApplicableRows& rows) {
  std::string text = "{";
  for (const auto& [key, ids] : rows) {
    text += (text.size() == 1 ? "\n  " : ",\n  ") + nlohmann::json(key).dump() + ": " + nlohmann::json(ids).dump();
  }
  return text + "\n}\n";
}

CkxApplicableRules::CkxApplicableRules(const std::optional<std::string>& text) {
  try {
    Fill(text.has_value() ? KxApplicable_Parse(*text) : SkxApplicableRows());
    if (_everybody == nullptr) _everybody = AnswerOf({});
  } catch (const CkxDocumentFault& fault) {
    KxTrace(EkxTraceLevel::Error, kScope, "ERROR: Malformed applicable policies: ", fault.Line());
  }
}

void CkxApplicableRules::Fill(const SkxApplicableRows& rows) {
  if (rows.empty()) _everybody = std::make_shared<const CkxApplicablePolicies>(CkxApplicablePolicies::All());
  for (const auto& [key, ids] : rows) {
    if (key == kEverybody) {
      _everybody = AnswerOf(ids);
    } else if (const std::optional<CkxSid> sid = CkxSid::FromUtf8(key)) {
      _rows.push_back({*sid, AnswerOf(ids)});
    }
  }
  std::sort(_rows.begin(), _rows.end(), [](const Row& a, const Row& b) { return Before(a.sid, b.sid); });
}

const CkxApplicableRules::Answer& CkxApplicableRules::ForUser(const CkxSid& user) const {
  const auto row = std::lower_bound(_rows.begin(), _rows.end(), user,
                                    [](const Row& a, const CkxSid& b) { return Before(a.sid, b); });
  return row != _rows.end() && row->sid.Equals(user) ? row->answer : _everybody;
}

std::shared_ptr<const CkxApplicablePolicies> CkxApplicableRules::For(void* token) const {
  Answer answer = _everybody;
  if (token != nullptr && !_rows.empty()) {
    const std::optional<CkxSid> user = KxToken_User(token);
    if (!user.has_value()) {
      KxTrace(EkxTraceLevel::Warning, kScope, "The token's user cannot be told");
      return nullptr;
    }
    if (user->ToUtf8() != kKxNobody) answer = ForUser(*user);
  }
  if (answer != nullptr && answer->IsNone()) {
    KxTrace(EkxTraceLevel::Warning, kScope, "No applicable policies for the user");
  }
  return answer;
}
