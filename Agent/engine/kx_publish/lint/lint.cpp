#include "Agent/engine/kx_publish/lint/lint.h"

#include "Agent/engine/kx_publish/lint/lint_cost.h"
#include "Agent/engine/kx_publish/lint/lint_fields.h"
#include "Agent/engine/kx_publish/lint/lint_reach.h"

std::vector<SkxFinding> KxLint_Image(const SkxPolicyImage& image) {
  CkxFindings findings;
  const CkxLintRecords records(image, findings);
  for (const auto* const section : {&records.Policies(), &records.Groups(), &records.Alerts()}) {
    for (const SkxLintRecord& record : *section) KxLint_Fields(record, records, findings);
  }
  KxLint_Reach(records, image.applicable, findings);
  KxLint_Cost(image, records, findings);
  return std::move(findings).Take();
}
