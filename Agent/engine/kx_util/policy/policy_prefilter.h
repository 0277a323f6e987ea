// The first look at a policy, in its record: whether it is worth making.
//
// Most policies of a walk are about something else, and a policy that is made, asked and destroyed costs many times
// what it takes to see that in its bytes. The answer is no or maybe, never yes: the objects of the policy stay the only
// judge of that. It is no when each target has a check that fails, and no check before that one, in the order in which
// targets check, could have asked for a fact that is not at hand, ended the evaluation, or been worth a line.
//
// Anything that is odd is a maybe: a record that does not parse, whose line the walk has yet to write, an unknown kind
// or way of comparing, a text too long for the stack. Nothing is fetched, and nobody is asked but the machine for its
// drives.
//
// For the length of one walk over one publication.
#pragma once

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_util/policy/file_first_look.h"

class CkxPolicyPrefilter {
 public:
  explicit CkxPolicyPrefilter(const CkxTargetInfo& target) : _target(target) {}
  CkxPolicyPrefilter(const CkxPolicyPrefilter&) = delete;
  CkxPolicyPrefilter& operator=(const CkxPolicyPrefilter&) = delete;

  /// Whether nobody watches each step, which is more than who reads the trace: there no line is missing.
  static bool IsUnobserved();

  /// False: the policy does not apply to the target. `policy` is a whole record.
  bool MayApply(const SkxPolicyBufHeader& policy);

 private:
  /// What targets of one kind are about.
  struct Subject {
    enum class State : unsigned char { NotSought, None, Beyond, Found };
    State state = State::NotSought;
    bool hasProcess = false;  ///< that questions about processes can be put to
    CkxFileFirstLook* file = nullptr;
  };

  static constexpr size_t kKinds = 32;
  static constexpr size_t kGroups = 64;
  static constexpr size_t kLinks = 8;  // of one policy

  bool IsBeyondTargets(EkxPolicyAction action) const;
  const unsigned char* BehindUnmatched(uint32_t targets, const unsigned char* at, const unsigned char* end,
                                       bool canLink);
  bool MayMatch(const SkxScannedTarget& target);
  bool MayMatchUnsought(const SkxScannedTarget& target);
  bool NoteLink(const unsigned char* group);
  bool MayMatchLinks();
  bool MayMatchInGroup(const GUID& id);
  bool IsKnownOutside(const GUID& id) const;

  Subject Seek(EkxPolicyTarget type);
  Subject SeekFile(EkxPolicyTarget type);
  Subject About(const CkxTargetInfoFile& file, const CkxTargetInfoProcess* process);

  const CkxTargetInfo& _target;
  SkxScannedTarget _scanned;  // at present
  Subject _subjects[kKinds];
  CkxFileFirstLook _files[2];  // what it is, and what it was started for
  const unsigned char* _links[kLinks];
  size_t _linkCount = 0;
  GUID _outside[kGroups] = {};  // groups that nothing of matches, by their hash; null: none is remembered there
};
