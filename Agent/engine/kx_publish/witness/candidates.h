// Target documents that a policy may decide, made from what its targets ask for. A guess each: whoever wants to know
// asks the evaluation.
#pragma once

#include <functional>
#include <map>
#include <set>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/image/image_models.h"
#include "Agent/engine/kx_publish/witness/condition_facts.h"

class CkxCandidates {
 public:
  /// Of the policies of one publication. Both arguments outlive this.
  CkxCandidates(const SkxImageModels& models, const SkxApplicableRows& applicable);

  /// Hands each document to `visit`, the most promising of each target first, until that answers false or there are
  /// `most`. Returns what could not be built: a line for each target with a condition that nothing is found for.
  using Visit = std::function<bool(const KxFacts& document)>;
  std::vector<std::string> ForEach(const SkxPolicyModel& policy, size_t most, const Visit& visit) const;

 private:
  /// One thing to choose, and the ways to choose it.
  struct Choice {
    std::string condition;
    KxWays ways;
  };
  using Choices = std::vector<Choice>;

  struct Found {
    std::string place;  ///< "target 2", "target 2 of the group {...}"
    const SkxTargetModel* target;
  };

  /// Targets, with the groups that links name in their place: each group once a level, as a decision looks at them.
  struct Expansion {
    std::vector<Found> found;
    std::set<std::pair<unsigned, const SkxAppGroupModel*>> met;
  };
  void Expand(const std::vector<SkxTargetModel>& targets, const std::string& of, unsigned level,
              Expansion& expansion) const;
  Choices ChoicesOf(const SkxTargetModel& target, unsigned level) const;
  KxWays Parents(const SkxParentTest& test, unsigned level) const;
  KxWays UsersOf(uint32_t policy) const;

  template <class Body>
  void AddConditions(const Body& body, const KxWString& usualName, Choices& choices, unsigned level) const;

  const SkxApplicableRows& _applicable;
  std::map<GUID, const SkxAppGroupModel*, SkxGuidLess> _groups;  // the first of each id
};
