// Which policies apply to which user, made ready to be asked.
#pragma once

#include <kx_util/policy_source.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Agent/engine/kx_publish/model/policy_model.h"
#include "Common_CPP/security/sid.h"

/// The rows, made ready to be asked on every evaluation: a search by the SID's bytes for the user and for each group,
/// and nothing is built but, once, the union of rows that a user was the first to have together.
class CkxApplicableRules {
 public:
  /// From the text of an applicable.json, where there is one. One that is malformed has no answer for anybody.
  explicit CkxApplicableRules(const std::optional<std::string>& text);

  /// The answer for the user of `token` (null, and nobody known: "*"): that of the rows of the user and of its enabled
  /// groups together, without any that of "*". None, with a line in the trace, when no row serves the user or they are
  /// empty. Null when the rows are malformed and when the token's user cannot be told.
  std::shared_ptr<const CkxApplicablePolicies> For(void* token) const;

  /// Whether it matters who asks.
  bool AsksForUsers() const { return !_rows.empty(); }

 private:
  using Answer = std::shared_ptr<const CkxApplicablePolicies>;
  struct Row {
    CkxSid sid;
    Answer answer;
  };

  void Fill(const SkxApplicableRows& rows);
  Answer ForUser(const CkxSid& user, const std::vector<CkxSid>& groups) const;
  Answer Union(const std::vector<size_t>& rows) const;

  /// Unions that are kept: more than users of one machine have.
  static constexpr size_t kMaxUnions = 1024;

  std::vector<Row> _rows;  // in the order of `Before`
  Answer _everybody;       // "*"; null when the rows are malformed
  mutable std::mutex _mutex;
  mutable std::map<std::vector<size_t>, Answer> _unions;  // by indices in `_rows`, ascending
};
