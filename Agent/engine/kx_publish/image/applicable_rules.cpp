#include "Agent/engine/kx_publish/image/applicable_rules.h"

#include <algorithm>
#include <set>

#include "Agent/engine/kx_publish/document/applicable_document.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/access_token/user_scope.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr const char* kScope = "CkxApplicableRules";

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
    if (key == kKxEverybodyKey) {
      _everybody = AnswerOf(ids);
    } else if (const std::optional<CkxSid> sid = CkxSid::FromUtf8(key)) {
      _rows.push_back({*sid, AnswerOf(ids)});
    }
  }
  std::sort(_rows.begin(), _rows.end(), [](const Row& a, const Row& b) { return Before(a.sid, b.sid); });
}

CkxApplicableRules::Answer CkxApplicableRules::ForUser(const CkxSid& user, const std::vector<CkxSid>& groups) const {
  std::vector<size_t> rows;
  const auto add = [&](const CkxSid& sid) {
    const auto row = std::lower_bound(_rows.begin(), _rows.end(), sid,
                                      [](const Row& a, const CkxSid& b) { return Before(a.sid, b); });
    if (row != _rows.end() && row->sid.Equals(sid)) rows.push_back(static_cast<size_t>(row - _rows.begin()));
  };
  add(user);
  for (const CkxSid& group : groups) add(group);
  if (rows.empty()) return _everybody;
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  return rows.size() == 1 ? _rows[rows.front()].answer : Union(rows);
}

CkxApplicableRules::Answer CkxApplicableRules::Union(const std::vector<size_t>& rows) const {
  const std::lock_guard lock(_mutex);
  if (const auto known = _unions.find(rows); known != _unions.end()) return known->second;
  std::set<uint32_t> ids;
  for (const size_t row : rows) ids.insert(_rows[row].answer->Ids().begin(), _rows[row].answer->Ids().end());
  ids.erase(0);  // no policy's; in front it would mean "none"
  Answer answer = AnswerOf({ids.begin(), ids.end()});
  if (_unions.size() >= kMaxUnions) _unions.clear();
  _unions.emplace(rows, answer);
  return answer;
}

std::shared_ptr<const CkxApplicablePolicies> CkxApplicableRules::For(void* token) const {
  Answer answer = _everybody;
  if (token != nullptr && !_rows.empty()) {
    const std::optional<CkxSid> user = KxToken_User(token);
    if (!user.has_value()) {
      KxTrace(EkxTraceLevel::Warning, kScope, "The token's user cannot be told");
      return nullptr;
    }
    if (user->ToUtf8() != kKxNobody) {
      const std::optional<std::vector<CkxSid>> groups = KxToken_Groups(token);
      if (!groups.has_value()) {
        KxTrace(EkxTraceLevel::Warning, kScope, "The token's groups cannot be told");
        return nullptr;
      }
      answer = ForUser(*user, *groups);
    }
  }
  if (answer != nullptr && answer->IsNone()) {
    KxTrace(EkxTraceLevel::Warning, kScope, "No applicable policies for the user");
  }
  return answer;
}
