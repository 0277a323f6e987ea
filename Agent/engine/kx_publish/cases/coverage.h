// Which policies, and which of their targets, decided at least once. Counted from answers alone, so that it costs the
// evaluations nothing. And which of the checks of targets ended one with "no" at least once: without a check that never
// did, every decision that was watched would be the same. That has to be watched step by step (check_watch.h).
// A target of an application group that policies link counts once, whichever of them it was; the
// link is no target then. A link inside a group is one: answers name it, and not what is behind it.
#pragma once

#include <kx_util/policy_codes.h>

#include <map>
#include <set>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/image/image_models.h"

struct SkxCaseDecision;

struct SkxCoveredCheck {
  std::string name;  ///< "publishers", as watchers are told
  bool saidNo = false;
};

struct SkxCoveredTarget {
  GUID id{};
  EkxPolicyTarget type = EkxPolicyTarget::Invalid;
  size_t index = 0;  ///< among the targets of the policy or group, links counted
  bool decided = false;
  std::vector<SkxCoveredCheck> checks{};  ///< once they are known
};

/// A policy that takes part in decisions.
struct SkxCoveredPolicy {
  uint32_t id = 0;
  std::string name;
  std::vector<SkxCoveredTarget> targets;  ///< but for links
  std::vector<GUID> alerts;               ///< that it links
  bool decided = false;
};

/// A group that such a policy links.
struct SkxCoveredGroup {
  GUID id{};
  std::vector<SkxCoveredTarget> targets;
};

/// How many of how many.
struct SkxShare {
  size_t decided = 0;
  size_t all = 0;

  void Add(bool isDecided) {
    ++all;
    if (isDecided) ++decided;
  }

  /// Nothing of nothing is all of it.
  bool Reaches(uint32_t percent) const { return decided * 100 >= all * size_t{percent}; }
};

class CkxCoverage {
 public:
  /// Of the policy source in force on the thread, with nothing decided. Throws std::bad_alloc.
  static CkxCoverage OfSource();

  void Count(const SkxCaseDecision& decision);

  /// The checks of all targets, of the image that the source has.
  void AddChecks(const SkxImageModels& models);
  void CountNo(uint32_t policyId, const GUID& target, std::string_view check);

  std::span<const SkxCoveredPolicy> Policies() const { return _policies; }
  std::span<const SkxCoveredGroup> Groups() const { return _groups; }
  SkxShare PolicyShare() const;
  SkxShare TargetShare() const;
  SkxShare CheckShare() const;  ///< `decided`: said no

 private:
  CkxCoverage() = default;
  SkxCoveredTarget* TargetOf(SkxCoveredPolicy& policy, const GUID& id);
  template <class Visit>
  void ForEachTarget(Visit visit) const;

  std::vector<SkxCoveredPolicy> _policies;
  std::vector<SkxCoveredGroup> _groups;
  std::map<GUID, std::pair<size_t, size_t>, SkxGuidLess> _inGroups;  // the first of each id, by group and target
  std::unordered_map<uint32_t, size_t> _byId;  // of several policies with one id the first, as look-ups find it
  std::unordered_map<uint32_t, std::set<GUID, SkxGuidLess>> _counted;  // targets, by the id of the policy
};
