// Application groups: named sets of targets that several policies share.
//
//   offset 0: u32 magic 0x22232426
//          4: u32 size of the record in bytes, header included
//          8: GUID of the group
//         24: list of targets
#pragma once

#include <kx_util/shared_policy_target.h>

#pragma pack(push, 1)
/// The header of a record, as it lies there.
struct SkxAppGroupBufHeader {
  static constexpr uint32_t kMagic = 0x22232426;
  uint32_t magic;
  uint32_t size;
  GUID id;
};
#pragma pack(pop)
static_assert(sizeof(SkxAppGroupBufHeader) == 24);

/// A group of targets that policies ask for by its id.
class KX_UTIL_API CkxShBufAppGroup {
 public:
  /// What a match by group is about, and what came of it.
  struct SkxMatchContext {
    bool found;  ///< out
    const CkxTargetInfo& target;
    SkxTriggerPolicyShortInfo& info;
  };

  /// Whom an enumeration by group tells.
  struct SkxEnumContext {
    KxTargetCallback callback;
    void* context;
    bool completed;  ///< out
  };

  /// Null when the record is malformed. With `copy` the group owns a copy of its record, else it points into it. The
  /// record's own size field says how many bytes may be read.
  static CkxShBufAppGroup* AppGroupFromBuffer(const SkxAppGroupBufHeader* record, bool copy);

  /// Of what `AppGroupFromBuffer` or the store made, and of nothing else.
  void Release();

  /// The same for a pointer that may be null, which is ignored: no operation may be called on a null object.
  static void Release(CkxShBufAppGroup* group);

  /// A group of the caller's own, empty until `FromBuffer` reads it in place.
  CkxShBufAppGroup() = default;
  ~CkxShBufAppGroup();
  CkxShBufAppGroup(const CkxShBufAppGroup&) = delete;
  CkxShBufAppGroup& operator=(const CkxShBufAppGroup&) = delete;

  /// From the caller's cursor, which moves past what was read. On false the group has no header and no targets.
  bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  GUID Id() const { return _header != nullptr ? GUID(_header->id) : GUID(); }  ///< null before a group was read
  uint32_t BufferSize() const { return _header != nullptr ? _header->size : 0; }
  const CkxShBufList& Targets() const { return _targets; }

  /// The first target that matches; null when none does. Lives as long as the group.
  const CkxShBufTarget* FindMatch(const CkxTargetInfo& target) const;

  /// The first target that matches fills `info`.
  bool MatchTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const;
  bool EnumTargets(KxTargetCallback callback, void* context) const;

  /// The two above in the shape in which the store calls a member of a group that it looked up.
  void DoMatchTarget(void* matchContext);
  void DoEnumTargets(void* enumContext);

 private:
  bool _CopyBuffer(const SkxAppGroupBufHeader*& record, uint32_t size);

  unsigned char* _copy = nullptr;
  const SkxAppGroupBufHeader* _header = nullptr;
  CkxShBufList _targets;
};

/// For a pointer that owns a group.
struct SkxAppGroupRelease {
  void operator()(CkxShBufAppGroup* group) const { CkxShBufAppGroup::Release(group); }
};

/// Owns a group.
using CkxShBufAppGroupPtr = std::unique_ptr<CkxShBufAppGroup, SkxAppGroupRelease>;
