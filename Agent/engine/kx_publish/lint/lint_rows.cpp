// Rows of the applicable rules that serve nobody: SIDs that no token has.
#include <algorithm>

#include "Agent/engine/kx_publish/lint/lint.h"

namespace {

struct NobodysSids {
  std::string_view begin;  ///< of all of them, or the whole one
  const char* why;
};
constexpr NobodysSids kNobodys[] = {
    {"S-1-0-", "is nobody"},
    {"S-1-3-", "stands for somebody else and is nobody's own"},
    {"S-1-5-10", "stands for somebody else and is nobody's own"},
};

/// "S-1-5-21-1-2-3": a domain, or a machine, in which nobody is named.
bool IsDomain(const std::string& sid) {
  return sid.starts_with("S-1-5-21-") && std::count(sid.begin(), sid.end(), '-') < 7;
}

const char* WhyNobodys(const std::string& sid) {
  if (IsDomain(sid)) return "is a domain's own, and nobody in it";
  for (const NobodysSids& sids : kNobodys) {
    if (sids.begin.ends_with('-') ? sid.starts_with(sids.begin) : sid == sids.begin) return sids.why;
  }
  return nullptr;
}

}  // namespace

std::vector<SkxRowFinding> KxLint_Rows(const SkxApplicableRows& rows) {
  std::vector<SkxRowFinding> findings;
  for (const auto& [sid, unused] : rows) {
    if (const char* const why = WhyNobodys(sid))
      findings.push_back({sid, sid + " " + why + ", so its row serves nobody"});
  }
  return findings;
}
