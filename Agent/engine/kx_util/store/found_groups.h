// The groups of one publication, as a walk finds them: each is read once, and judged once a description.
//
// Policies share groups, groups link to groups, and a condition on parents asks each ancestor about them; whoever
// writes a policy decides how often. So for the length of a walk (outside of walks: of one call by id) the section is
// indexed when the first group is asked for, a record is parsed when its group is, and what a group said of a
// description is remembered.
//
//   const CkxFoundGroups::Scope scope;                     // shares the walk's, or begins its own
//   CkxFoundGroups& groups = CkxFoundGroups::Current();
#pragma once

#include <optional>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/store/read_groups.h"

class CkxFoundGroups {
 public:
  /// Links nest at most so deep; a group that lies deeper is as good as not there.
  static constexpr unsigned kMaxDepth = 8;

  /// `read`: the groups of `source` where somebody keeps them read; else they are as they are asked for.
  explicit CkxFoundGroups(const IkxPolicySource& source, const CkxReadGroups* read = nullptr)
      : _source(source), _read(read) {}
  CkxFoundGroups(const CkxFoundGroups&) = delete;
  CkxFoundGroups& operator=(const CkxFoundGroups&) = delete;

  class Scope;

  /// Of the innermost scope on this thread.
  static CkxFoundGroups& Current();

  /// The target of the group `id` that matches, or null when none does. Nothing when there is no such group, when its
  /// record is malformed, or when it lies too deep.
  std::optional<const CkxShBufTarget*> Match(const GUID& id, const CkxTargetInfo& target);

  /// What can be said of the group for a link that is no target of a group itself. Judges nothing.
  SkxGroupGlance GlanceAt(const GUID& id, const CkxTargetInfo& target);
  void NoteOutside(const GUID& id, const CkxTargetInfo& target);

  /// Hands on the targets of the group `id`, once to each enumeration. False when there is no such group (as above),
  /// else `enumeration.completed` tells more.
  bool Enumerate(const GUID& id, CkxShBufAppGroup::SkxEnumContext& enumeration);

  /// Calls any other member of the group.
  bool Call(const GUID& id, void (CkxShBufAppGroup::*member)(void*), void* context);

 private:
  /// What a group said of a description. An answer that the limit of depth had no part in holds at every depth that
  /// leaves it room; one that it had a part in, at its own depth alone.
  struct SkxVerdict {
    const CkxShBufTarget* match = nullptr;
    unsigned levelsBelow = 0;
  };
  struct SkxGroup {
    const SkxAppGroupBufHeader* record = nullptr;
    CkxShBufAppGroup* group = nullptr;  // null before it is asked for, and when the record is malformed
    CkxShBufAppGroupPtr own;            // the same, unless somebody keeps it read
    bool isRead = false;
    std::unordered_map<uint64_t, SkxVerdict> verdicts;  // by `Question`
    uint64_t glancedFor = 0;                            // the last description that somebody took a look for
    bool isOutside = false;                             // what came of that
  };
  /// Where the links below the question under way led to.
  struct SkxReach {
    unsigned deepest = 0;
    bool wasCut = false;
  };
  struct SkxHandedOut {
    const SkxGroup* group;
    KxTargetCallback callback;  // to whom: a callback may enumerate on its own account
    const void* context;
  };
  class Level;

  void Index();
  SkxGroup* Known(const GUID& id);
  bool AreAllKnown() const { return _read != nullptr ? _read->AreAllKnown() : _damage.empty(); }
  void NoteUnknown() const;
  SkxGroup* Find(const GUID& id);
  bool IsTooDeep(const GUID& id);
  const SkxVerdict* Remembered(const SkxGroup& found, const CkxTargetInfo& target);
  const CkxShBufTarget* Judge(SkxGroup& found, const CkxTargetInfo& target);

  const IkxPolicySource& _source;
  const CkxReadGroups* const _read;
  SkxSectionBytes _section;
  bool _isIndexed = false;
  std::string_view _damage;  // a group that is not found may lie behind it; empty where there is none
  KxGroupsById<SkxGroup> _groups;
  std::vector<SkxHandedOut> _handedOut;
  unsigned _depth = 0;
  SkxReach _reach;
};

/// The groups of the source in force on this thread.
class CkxFoundGroups::Scope {
 public:
  Scope();
  /// Of `source`, which is in force, and whose groups are kept read.
  Scope(const IkxPolicySource& source, const CkxReadGroups& read);
  ~Scope();
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

 private:
  CkxFoundGroups* const _previous;
  std::optional<CkxFoundGroups> _own;
};
