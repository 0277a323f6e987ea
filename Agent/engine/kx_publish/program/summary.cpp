#include <kx_publish/summary.h>

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/decision/decision_summary.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/policy_set.h"

struct CkxSummary::Content {
  CkxDecisionSummary sum;
};

CkxSummary::CkxSummary() : _content(std::make_unique<Content>()) {}
CkxSummary::CkxSummary(const CkxPolicies& policies) : CkxSummary() {
  _content->sum.AddPolicies(policies._set->Image());
}
CkxSummary::CkxSummary(CkxSummary&&) noexcept = default;
CkxSummary& CkxSummary::operator=(CkxSummary&&) noexcept = default;
CkxSummary::~CkxSummary() = default;

void CkxSummary::Count(const SkxDecision& decision) { _content->sum.Count(decision); }
void CkxSummary::CountUnusable() { _content->sum.CountUnusable(); }

bool CkxSummary::Add(std::string_view json, SkxDocumentError& error) {
  CkxDecisionSummary sum = _content->sum;
  try {
    sum.Add(KxJson_Parse(json, false));
  } catch (const CkxDocumentFault& fault) {
    error = {"", fault.Pointer(), fault.what()};
    return false;
  }
  _content->sum = std::move(sum);
  return true;
}

std::string CkxSummary::ToJson() const { return _content->sum.ToJson(); }
std::string CkxSummary::ToText() const { return _content->sum.ToText(); }
