#include "Agent/engine/kx_publish/lint/lint_users.h"

#include <algorithm>

#include "Agent/engine/kx_publish/document/applicable_document.h"

namespace {

std::map<uint32_t, std::vector<uint32_t>> RowsById(const SkxApplicableRows& rules) {
  std::map<uint32_t, std::vector<uint32_t>> rows;
  uint32_t number = 0;
  for (const auto& [user, ids] : rules) {
    ++number;
    if (ids.empty() || ids.front() == 0) continue;  // a row for nobody
    for (const uint32_t id : ids) {
      std::vector<uint32_t>& ofPolicy = rows[id];
      if (ofPolicy.empty() || ofPolicy.back() != number) ofPolicy.push_back(number);
    }
  }
  return rows;
}

}  // namespace

CkxPolicyUsers::CkxPolicyUsers(const std::optional<std::string>& rules, const std::vector<uint32_t>& ids) {
  const SkxApplicableRows parsed = rules.has_value() ? KxApplicable_Parse(*rules) : SkxApplicableRows();
  _isForEverybody = parsed.empty();
  std::map<uint32_t, RowNumbers> rows = RowsById(parsed);
  for (const uint32_t id : ids) {
    const auto [number, isNew] = _numbers.try_emplace(rows[id], _sets.size());
    if (isNew) _sets.push_back(number);
    _setOf[id] = number->second;
  }
  _including.resize(_sets.size());
}

const std::vector<CkxPolicyUsers::Set>& CkxPolicyUsers::Including(Set set) {
  std::vector<Set>& including = _including[set];
  if (!including.empty()) return including;
  const RowNumbers& rows = Rows(set);
  for (Set other = 0; other < _sets.size(); ++other) {
    const RowNumbers& others = Rows(other);
    if (std::includes(others.begin(), others.end(), rows.begin(), rows.end())) including.push_back(other);
  }
  return including;
}
