// Targets: what a policy or an application group is about.
//
//   offset 0: u32 magic 0x22232427
//          4: u32 size of the record in bytes, header included
//          8: GUID of the target
//         24: u32 type (EkxPolicyTarget)
//         28: the kind's body, packed
//
// A list of targets is walked by what each body's reader consumes; the size field is only checked to fit in what
// remains.
#pragma once

#include <kx_util/policy_result.h>
#include <kx_util/shared_policy_origin_props.h>
#include <kx_util/shared_policy_target_users.h>

#pragma pack(push, 1)
/// The header of a record, as it lies there.
struct SkxTargetBufHeader {
  static constexpr uint32_t kMagic = 0x22232427;
  uint32_t magic;
  uint32_t size;
  GUID targetId;
  EkxPolicyTarget type;
};
#pragma pack(pop)
static_assert(sizeof(SkxTargetBufHeader) == 28);

/// "Executable", "URL", ... ; "Unknown Target Type" with an error line for a code that is none.
KX_UTIL_API const WCHAR* KxUtil_PolicyTargetTypeStr(EkxPolicyTarget type);

class CkxFileSrcProcess;
class CkxShBufTarget;
/// False ends the enumeration. Must not throw.
using KxTargetCallback = bool (*)(const CkxShBufTarget& target, void* context);

/// What all kinds of targets have.
class KX_UTIL_API CkxShBufTarget : public CkxShBufList::CkxNode {
 public:
  /// The element reader of target lists: null for a record that is malformed, or of a type that is not accepted.
  static CkxShBufList::CkxNode* TargetFromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// Reads the record and moves on; false for one that is malformed.
  virtual bool FromBuffer(const unsigned char*& cursor, unsigned long& remaining);

  /// What of a decision the target says.
  virtual void FillTargetInfo(SkxTriggerPolicyShortInfo& info) const;

  /// Whether `target` has all that is asked for; a property that is not set asks for nothing.
  virtual bool MatchTarget(const CkxTargetInfo& target) const;

  /// The same question about a process as the origin of a file remembers it; a property about what the record does not
  /// hold, when it is set, does not match.
  virtual bool MatchProcess(const CkxFileSrcProcess& process) const;

  /// Whether what the target is about can only be started from the agent's folder of tools.
  virtual bool RequiresKxToolsFolder() const { return false; }

  /// All that the target holds, for a person to read.
  virtual void AppendDebugMsg(CkxUtilStr& text) const = 0;

  EkxPolicyTarget TargetType() const { return _header->type; }
  bool IsTargetType(EkxPolicyTarget type) const { return TargetType() == type; }
  GUID TargetId() const { return _header->targetId; }

  /// `MatchTarget`, watched: what callers outside the kinds use.
  bool Matches(const CkxTargetInfo& target) const { return Observed(MatchTarget(target)); }

  /// Hands on `matched`, having told whoever watches what became of this target.
  bool Observed(bool matched) const;

 private:
  const SkxTargetBufHeader* _header = nullptr;  // into the buffer
};
