#include "Agent/engine/kx_publish/lint/lint_reach.h"

#include <kx_util/shared_policy.h>

#include <algorithm>
#include <set>

#include "Agent/engine/kx_publish/lint/lint_takes.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

/// Groups inside groups are looked into so deep.
constexpr unsigned kMaxLevel = 8;

/// Takers that a message names.
constexpr size_t kMaxNamed = 3;

constexpr EkxSubjects kSubjects[] = {kKxThings, kKxRequests};

SkxPolicyBufHeader HeaderOf(const SkxLintRecord& policy) {
  return KxBytes_Load<SkxPolicyBufHeader>(policy.bytes.data());
}

bool TakesPartInDecisions(const SkxPolicyBufHeader& header, const SkxTakers& takers) {
  switch (header.action) {
    case EkxPolicyAction::Run:
    case EkxPolicyAction::Block:
    case EkxPolicyAction::Elevate:
    case EkxPolicyAction::Trust:
    case EkxPolicyAction::RunAndCollectEvents:
      return header.active != 0;
    case EkxPolicyAction::Exclude:
      return header.active != 0 && takers.excludeType == 0;
    default:
      return false;
  }
}

/// Whatever its targets are: trust is not for requests, and an exclusion needs a path.
unsigned SubjectsOf(EkxPolicyAction action) {
  const bool onlyThings = action == EkxPolicyAction::Trust || action == EkxPolicyAction::Exclude;
  return onlyThings ? kKxThings : kKxAllSubjects;
}

bool AppliesWithoutTargets(EkxPolicyAction action) {
  return action == EkxPolicyAction::Trust || action == EkxPolicyAction::RunAndCollectEvents;
}

/// Access is given to these alone, and taken from them. What a group has is not looked into.
bool MayBeAboutAccess(const SkxTaker& target) {
  switch (target.type) {
    case EkxPolicyTarget::FileSystemEntry:
    case EkxPolicyTarget::RegistryKey:
    case EkxPolicyTarget::Service:
    case EkxPolicyTarget::UsbDevice:
    case EkxPolicyTarget::OpticalDisc:
    case EkxPolicyTarget::AppGroupLink:
      return true;
    default:
      return false;
  }
}

std::vector<uint32_t> IdsOf(const std::vector<SkxLintRecord>& policies) {
  std::vector<uint32_t> ids;
  ids.reserve(policies.size());
  for (const SkxLintRecord& policy : policies) ids.push_back(HeaderOf(policy).id);
  return ids;
}

class Reach {
 public:
  Reach(const CkxLintRecords& records, const std::optional<std::string>& applicable, CkxFindings& findings)
      : _records(records), _users(applicable, IdsOf(records.Policies())), _findings(findings) {
    for (const SkxLintRecord& group : records.Groups()) _groups.push_back(Resolved(group).targets);
    for (const SkxLintRecord& policy : records.Policies()) _policies.push_back(Resolved(policy));
  }

  void Run() {
    for (const SkxLintRecord& policy : _records.Policies()) {
      const SkxPolicyBufHeader header = HeaderOf(policy);
      if (_users.IsForNobody(header.id)) {
        _findings.Warn(policy, "no-users", "is applicable to nobody");
      } else if (policy.isReadable && TakesPartInDecisions(header, _policies[policy.index])) {
        Judge(policy, header.action, _users.Of(header.id));
      } else if (policy.isReadable && header.action == EkxPolicyAction::SetSecurity && header.active != 0) {
        RequireAccess(policy);
      }
    }
  }

 private:
  using Users = CkxPolicyUsers::Set;
  using Takers = std::set<size_t>;  // indices of policies

  /// With the groups that links find.
  SkxTakers Resolved(const SkxLintRecord& record) const {
    SkxTakers takers = KxLint_Takers(record);
    for (SkxTaker& target : takers.targets) {
      const SkxLintRecord* const group =
          target.type == EkxPolicyTarget::AppGroupLink ? _records.Group(target.group) : nullptr;
      if (group != nullptr) target.groupIndex = group->index;
    }
    return takers;
  }

  void RequireAccess(const SkxLintRecord& policy) {
    const std::vector<SkxTaker>& targets = _policies[policy.index].targets;
    if (std::any_of(targets.begin(), targets.end(), MayBeAboutAccess)) return;
    _findings.Warn(policy, "no-targets",
                   "has no target that access is given to (a file system entry, registry key, service, USB device or "
                   "optical disc), and decides about nothing that starts");
  }

  void Judge(const SkxLintRecord& policy, EkxPolicyAction action, Users users) {
    const std::vector<SkxTaker>& targets = _policies[policy.index].targets;
    if (targets.empty() && AppliesWithoutTargets(action)) return JudgeEverything(policy, SubjectsOf(action), users);

    Expansion expansion = {SubjectsOf(action), {}, Visits(_groups.size()), false};
    Expand(targets, 0, false, expansion);
    if (expansion.isTooDeep) {
      _findings.Warn(policy, "group-nesting", "its groups nest deeper than " + std::to_string(kMaxLevel));
    }
    if (expansion.targets.empty()) {
      return _findings.Warn(policy, "no-targets", "has no target that anything can match, so it never applies");
    }
    Takers takers;
    bool isReached = false;
    for (const SkxTaken& target : expansion.targets) {
      const bool isTaken = AllTaken(target.subjects, takers, [&](EkxSubjects subject) {
        return _before.TakerOf(target, subject, _users.Including(users));
      });
      if (isTaken) continue;
      isReached = true;
      _before.Add(target, policy, users);
    }
    if (!isReached) Tell(policy, takers);
  }

  void JudgeEverything(const SkxLintRecord& policy, unsigned subjects, Users users) {
    Takers takers;
    const bool isTaken = AllTaken(subjects, takers, [&](EkxSubjects subject) {
      return _before.TakerOfEverything(subject, _users.Including(users));
    });
    if (isTaken) return Tell(policy, takers);
    for (const EkxSubjects subject : kSubjects) {
      if ((subjects & subject) != 0) _before.AddEverything(subject, policy, users);
    }
  }

  /// Whether `takerOf` finds a policy for each of `subjects`.
  template <class TakerOf>
  static bool AllTaken(unsigned subjects, Takers& takers, TakerOf takerOf) {
    for (const EkxSubjects subject : kSubjects) {
      if ((subjects & subject) == 0) continue;
      const SkxLintRecord* const taker = takerOf(subject);
      if (taker == nullptr) return false;
      takers.insert(taker->index);
    }
    return true;
  }

  using Visits = std::vector<uint16_t>;  // of a group, a bit a level

  struct Expansion {
    const unsigned subjects;
    std::vector<SkxTaken> targets;
    Visits groups;
    bool isTooDeep;
  };

  /// Links replaced by the targets of their groups, as a decision asks them. `again`: of a group that was met at
  /// another level, only what that matters to.
  void Expand(const std::vector<SkxTaker>& targets, unsigned level, bool again, Expansion& expansion) const {
    for (const SkxTaker& target : targets) {
      if (target.groupIndex) ExpandGroup(*target.groupIndex, level, expansion);
      const unsigned subjects = target.Subjects() & expansion.subjects;
      const bool isNew = !again || target.nestingBits != 0;
      if (subjects != kKxNoSubjects && isNew) expansion.targets.push_back({&target, level, subjects});
    }
  }

  void ExpandGroup(size_t group, unsigned level, Expansion& expansion) const {
    uint16_t& visits = expansion.groups[group];
    const auto visit = static_cast<uint16_t>(1u << level);
    if (level == kMaxLevel) {
      expansion.isTooDeep = true;
    } else if ((visits & visit) == 0) {
      const bool again = visits != 0;
      visits |= visit;
      Expand(_groups[group], level + 1, again, expansion);
    }
  }

  void Tell(const SkxLintRecord& policy, const Takers& takers) {
    std::string names;
    size_t named = 0;
    for (const size_t taker : takers) {
      if (named == kMaxNamed) {
        names += " and " + std::to_string(takers.size() - named) + " more";
        break;
      }
      if (named != 0) names += ", ";
      names += KxLint_PolicyText(_records.Policies()[taker]);
      ++named;
    }
    _findings.Warn(
        policy, "unreachable",
        "can never be reached: " + names + (takers.size() == 1 ? " takes" : " take") + " everything that it would");
  }

  const CkxLintRecords& _records;
  CkxPolicyUsers _users;
  CkxFindings& _findings;
  std::vector<std::vector<SkxTaker>> _groups;
  std::vector<SkxTakers> _policies;
  CkxTakenBefore _before;
};

}  // namespace

void KxLint_Reach(const CkxLintRecords& records, const std::optional<std::string>& applicable, CkxFindings& findings) {
  Reach(records, applicable, findings).Run();
}
