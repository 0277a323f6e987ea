// For each policy of a publication a witness: the smallest target document found that this policy decides. What can be
// seen from it is what the policy is about, and that it is about anything.
//
// Documents are made from what the policy's targets ask for (candidates.h), and each is put to the evaluation itself:
// a witness is decided by its policy, whatever the way to it was. That none was found proves nothing; what was found
// in its place says why: earlier policies that took each document that the policy itself would have taken, or the check
// that ended the first one.
#pragma once

#include <set>

#include "Agent/engine/kx_publish/image/image_judge.h"
#include "Agent/engine/kx_publish/witness/candidates.h"

enum class EkxWitness {
  Found,        ///< `document`
  TakenBefore,  ///< by `takers`: `document` is what the policy would have taken without them
  NotBuilt,     ///< no document that the policy takes, `why`
  NoPart,       ///< it takes no part in decisions, `why`
};

/// "found", "taken before", "not built", "no part".
const char* KxWitness_Word(EkxWitness witness);

struct SkxWitness {
  EkxWitness found = EkxWitness::NotBuilt;
  uint32_t policyId = 0;
  std::string policyName;
  nlohmann::ordered_json document;
  std::set<size_t> takers;  ///< indices of policies
  std::string why;
};

/// What the text of `document` describes, so that whatever is printed is what was judged. Nothing, with `fault`, where
/// a text that was made is none that a document may have.
std::optional<CkxTargetDocument> KxWitness_Target(const KxFacts& document, std::string& fault);

/// `document` without each part that it may lose so that it still `holds`.
KxFacts KxWitness_Smallest(const KxFacts& document, const std::function<bool(const KxFacts&)>& holds);

/// In the order in which people read a description.
nlohmann::ordered_json KxWitness_Ordered(const KxFacts& document);

class CkxWitnesses {
 public:
  /// `image` and `applicable`, its rows, are looked into as long as this lives.
  CkxWitnesses(const SkxPolicyImage& image, const SkxApplicableRows& applicable);

  const std::vector<SkxImageRecord<SkxPolicyModel>>& Policies() const { return _models.policies; }

  /// Records that could not be read, as those of `SkxImageModels`.
  const std::vector<std::string>& Faults() const { return _models.faults; }

  SkxWitness Of(size_t policy) const;

  /// Documents at the bounds of what the policy takes, whoever decides them.
  std::vector<nlohmann::json> Bounds(size_t policy, size_t most) const;

  /// "policy 7 "Block tools"", on one line whatever the name is.
  std::string PolicyText(size_t policy) const;

 private:
  std::string WhyNoPart(const SkxPolicyModel& policy) const;
  bool Decides(const KxFacts& document, uint32_t policyId) const;
  std::optional<SkxJudgement> Judged(const KxFacts& document) const;

  const SkxPolicyImage& _image;
  const SkxApplicableRows& _applicable;
  const SkxImageModels _models;
  std::map<uint32_t, size_t> _indexOf;  // the first policy of each id
  std::set<uint32_t> _sharedIds;
  const CkxCandidates _candidates;
  const CkxImageJudge _judge;
};
