#include "Agent/engine/kx_publish/lint/lint_cost.h"

#include <kx_util/policy_snapshot.h>

#include <algorithm>

#include "Agent/engine/kx_publish/image/image_source.h"

namespace {

/// Asking each of fewer takes no time that anybody would notice.
constexpr size_t kManyPolicies = 1000;

}  // namespace

void KxLint_Cost(const SkxPolicyImage& image, const CkxLintRecords& records, CkxFindings& findings) {
  if (records.Policies().size() < kManyPolicies) return;
  const CkxImageSource source(image);
  EkxEvaluationFault fault = EkxEvaluationFault::None;
  const std::shared_ptr<const CkxPolicySnapshot> snapshot = CkxPolicySnapshot::Prepare(source, fault);
  if (snapshot == nullptr) return;  // for which the other rules have words
  std::vector<uint32_t> ids = snapshot->AskedAlways();
  std::sort(ids.begin(), ids.end());
  for (const SkxLintRecord& policy : records.Policies()) {
    if (!policy.policyId || !std::binary_search(ids.begin(), ids.end(), *policy.policyId)) continue;
    findings.Warn(policy, "asked-always",
                  "nothing that it asks for can be looked up, so that every decision asks it: exact names, folders, "
                  "hashes, fields and signers can, and four characters in a row of a pattern");
  }
}
