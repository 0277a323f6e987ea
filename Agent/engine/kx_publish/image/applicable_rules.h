// Which policies apply to which user, made ready to be asked.
#pragma once

#include <kx_util/policy_source.h>

#include <optional>
#include <string>

#include "Agent/engine/kx_publish/model/policy_model.h"
#include "Common_CPP/security/sid.h"

/// The rows, made ready to be asked on every evaluation: one search by the SID's bytes, nothing is built.
class CkxApplicableRules {
 public:
  /// From the text of an applicable.json, where there is one. One that is malformed has no answer for anybody.
  explicit CkxApplicableRules(const std::optional<std::string>& text);

  /// The answer for the user of `token` (null, and nobody known: "*"): none, with a line in the trace, when there is no
  /// row for it or its row is empty. Null when the rows are malformed and when the token's user cannot be told.
  std::shared_ptr<const CkxApplicablePolicies> For(void* token) const;

 private:
  using Answer = std::shared_ptr<const CkxApplicablePolicies>;
  struct Row {
    CkxSid sid;
    Answer answer;
  };

  void Fill(const SkxApplicableRows& rows);
  const Answer& ForUser(const CkxSid& user) const;

  std::vector<Row> _rows;  // in the order of `Before`
  Answer _everybody;       // "*"; null when the rows are malformed
};
