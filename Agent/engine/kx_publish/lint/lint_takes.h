// What targets take, as far as their records tell, and which policy takes it first. For lint_reach.cpp.
#pragma once

#include <set>
#include <unordered_map>

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
  /// A field that has to be the same in whoever takes less: a property that is set, and the few other fields that say
  /// what matches. Not: what happens after a match.
  struct Ask {
    size_t field;  ///< index in the layout of the target's body
    std::span<const unsigned char> bytes;
  };

  EkxPolicyTarget type = EkxPolicyTarget::Invalid;
  GUID group{};                      ///< of a link
  std::optional<size_t> groupIndex;  ///< of the record that the link finds, once it was looked up
  std::vector<Ask> asks;
  uint32_t asked = 0;        ///< a bit for the field of each of `asks`
  uint32_t nestingBits = 0;  ///< those whose answer depends on how deep inside groups the target is asked

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

/// The targets of the policies so far, each with the set of users that its policy is for.
class CkxTakenBefore {
 public:
  using Users = CkxPolicyUsers::Set;

  /// The first policy, of those for one of these sets of users, that takes all that `taken` would of one kind of
  /// subjects.
  const SkxLintRecord* FirstTaker(const SkxTaken& taken, EkxSubjects subject, const std::vector<Users>& users) const;
  const SkxLintRecord* FirstTakerOfEverything(EkxSubjects subject, const std::vector<Users>& users) const;

  void Add(const SkxTaken& taken, const SkxLintRecord& policy, Users users);
  void AddEverything(EkxSubjects subject, const SkxLintRecord& policy, Users users);

 private:
  struct Entry {
    bool Takes(const SkxTaken& other, EkxSubjects subject) const;

    SkxTaken taken;
    const SkxLintRecord* policy;
    Users users;
  };

  std::map<std::pair<EkxSubjects, Users>, const SkxLintRecord*> _everything;
  std::map<EkxPolicyTarget, std::set<uint32_t>> _asked;      // sets of fields that targets of a type ask for
  std::unordered_map<uint64_t, std::vector<Entry>> _byHash;  // of all that a target asks for, and of the users
};
