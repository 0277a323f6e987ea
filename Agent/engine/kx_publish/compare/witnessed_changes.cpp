#include "Agent/engine/kx_publish/compare/witnessed_changes.h"

#include <algorithm>

#include "Agent/engine/kx_publish/witness/witness.h"

namespace {

/// Documents in all, and for one policy.
constexpr size_t kMaxDocuments = 100'000;
constexpr size_t kMaxOfPolicy = 64;

void AskAbout(const KxFacts& document, uint32_t policyId, CkxDecisionChanges& changes) {
  std::string ignored;
  const auto sidesOf = [&](const KxFacts& facts) {
    const std::optional<CkxTargetDocument> target = KxWitness_Target(facts, ignored);
    return target ? changes.Sides(*target) : std::string();
  };
  const std::optional<CkxTargetDocument> target = KxWitness_Target(document, ignored);
  if (!target) return;
  const std::string sides = changes.Sides(*target);
  const auto smallest = [&] {
    const KxFacts found = KxWitness_Smallest(document, [&](const KxFacts& part) { return sidesOf(part) == sides; });
    return KxWitness_Ordered(found).dump(-1, ' ', false, KxFacts::error_handler_t::replace);
  };
  changes.Ask(*target, smallest, policyId);
}

}  // namespace

void KxWitnessed_Ask(const CkxPolicySet& was, const CkxPolicySet& is, CkxDecisionChanges& changes) {
  for (const CkxPolicySet* const side : {&is, &was}) {
    const CkxWitnesses witnesses(side->Image(), side->Applicable());
    const size_t policies = witnesses.Policies().size();
    const size_t most = std::clamp<size_t>(kMaxDocuments / (policies + 1), 1, kMaxOfPolicy);
    for (size_t i = 0; i < policies; ++i) {
      const uint32_t id = KxImage_PolicyId(witnesses.Policies()[i].bytes);
      for (const nlohmann::json& document : witnesses.Bounds(i, most)) AskAbout(document, id, changes);
    }
  }
}
