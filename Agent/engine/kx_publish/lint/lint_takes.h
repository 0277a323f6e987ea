// What targets take, as far as their records tell, and which policy takes it first. For lint_reach.cpp.
#pragma once

#include <bitset>
#include <unordered_map>

#include "Agent/engine/kx_publish/lint/lint_conditions.h"
#include "Agent/engine/kx_publish/lint/lint_records.h"
#include "Agent/engine/kx_publish/lint/lint_users.h"

/// What descriptions can be, where it matters to who takes them.
enum EkxSubjects : unsigned {
  kKxNoSubjects = 0,
  kKxThings = 1,    ///< files, processes, controls, components: what has a path
  kKxRequests = 2,  ///< requests to elevate, which have none
  kKxAllSubjects = kKxThings | kKxRequests,
};

/// A target, by what it asks for.
struct SkxTaker {
  /// A property that is set and not always met, and the few other fields that say what matches. Not: what happens after
  /// a match.
  struct Ask {
    size_t field;  ///< index in the layout of the target's body
    std::unique_ptr<IkxLintCondition> condition;
  };

  EkxPolicyTarget type = EkxPolicyTarget::Invalid;
  GUID group{};                      ///< of a link
  std::optional<size_t> groupIndex;  ///< of the record that the link finds, once it was looked up
  std::vector<Ask> asks;             ///< by field
  uint32_t asked = 0;                ///< a bit for the field of each of `asks`
  uint32_t nestingBits = 0;          ///< those whose answer depends on how deep inside groups the target is asked

  /// What a target of this type can match at all.
  unsigned Subjects() const;
};

/// The targets of a policy or group that can be read, and what else counts of a policy.
struct SkxTakers {
  std::vector<SkxTaker> targets;
  uint16_t excludeType = 0;
};
SkxTakers KxLint_Takers(const SkxLintRecord& record);

/// A target where it is asked: `level` groups deep, in a policy.
struct SkxTaken {
  const SkxTaker* target;
  unsigned level;
  unsigned subjects;
};

/// The targets of the policies so far, each with the set of users that its policy is for. Whoever asks who takes a
/// target is compared with those alone whose rarest demand it offers.
class CkxTakenBefore {
 public:
  using Users = CkxPolicyUsers::Set;

  /// The first policy found, of those for one of these sets of users in ascending order, that takes all that `taken`
  /// would of one kind of subjects. Null where none is, or none is certain to be.
  const SkxLintRecord* TakerOf(const SkxTaken& taken, EkxSubjects subject, const std::vector<Users>& users);
  const SkxLintRecord* TakerOfEverything(EkxSubjects subject, const std::vector<Users>& users) const;

  void Add(const SkxTaken& taken, const SkxLintRecord& policy, Users users);
  void AddEverything(EkxSubjects subject, const SkxLintRecord& policy, Users users);

 private:
  struct Entry {
    bool Takes(const SkxTaken& other, EkxSubjects subject, CkxLintWork& work) const;

    SkxTaken taken;
    const SkxLintRecord* policy;
    Users users;
  };

  static size_t Bit(uint64_t feature) { return static_cast<size_t>(feature >> 46); }

  std::map<std::pair<EkxSubjects, Users>, const SkxLintRecord*> _everything;
  std::unordered_map<uint64_t, std::vector<Entry>> _byDemand;
  std::bitset<1 << 18> _isDemanded;  // what surely nobody demands need not be looked up
  CkxLintWork _work;
};
