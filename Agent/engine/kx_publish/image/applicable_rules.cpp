#include "Agent/engine/kx_publish/image/applicable_rules.h"

#include <algorithm>

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
