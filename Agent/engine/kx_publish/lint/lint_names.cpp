#include "Agent/engine/kx_publish/lint/lint_names.h"

#include "Agent/engine/kx_publish/lint/lint.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

template <class Model>
void AddNames(const std::vector<Model>& models, EkxPolicySection section, std::vector<SkxFinding>& findings) {
  for (size_t i = 0; i < models.size(); ++i) {
    const std::optional<std::string> fault = KxLint_NameFault(models[i].name);
    if (!fault) continue;
    SkxFinding finding = {EkxSeverity::Warning, "name", section, i, 0, "name", *fault, {}, {}};
    if constexpr (std::is_same_v<Model, SkxPolicyModel>) {
      finding.policyId = models[i].id;
      finding.policyName = KxText_ToUtf8(models[i].name);
    }
    findings.push_back(std::move(finding));
  }
}

}  // namespace

std::optional<std::string> KxLint_NameFault(CkxTextView name) {
  if (KxText_IsPrintable(name)) return std::nullopt;
  return "has characters that do not show, or that steer how others show: " +
         KxText_PrintableQuoted(KxText_Printable(name));
}

std::vector<SkxFinding> KxLint_Names(const SkxPublication& publication) {
  std::vector<SkxFinding> findings;
  AddNames(publication.policies, EkxPolicySection::Policies, findings);
  AddNames(publication.groups, EkxPolicySection::AppGroups, findings);
  AddNames(publication.alerts, EkxPolicySection::Alerts, findings);
  return findings;
}
