#include "Agent/engine/kx_util/policy/policy_prefilter.h"

#include <kx_util/target_info_process.h>

#include <iterator>

#include "Agent/engine/kx_util/policy/policy_lookup.h"
#include "Agent/engine/kx_util/watch/observe.h"
#include "Common_CPP/util/guid.h"

namespace {

constexpr uint32_t kAboutProcesses = KxTargetField_Bit(EkxTargetField::Arguments) |
                                     KxTargetField_Bit(EkxTargetField::ServiceName) |
                                     KxTargetField_Bit(EkxTargetField::ParentProcess);

/// Bytes of a record behind its targets; nothing for an action that does not decide about targets.
std::optional<size_t> BytesBehindTargets(EkxPolicyAction action) {
  switch (action) {
    case EkxPolicyAction::Run:
    case EkxPolicyAction::Block:
    case EkxPolicyAction::Elevate:
      return 0;
    case EkxPolicyAction::Trust:
      return sizeof(SkxElevateOnDemandConfigParams);
    case EkxPolicyAction::RunAndCollectEvents:
      return sizeof(SkxZeroTouchConfigParams);
    case EkxPolicyAction::Exclude:
      return sizeof(uint16_t);
    default:
      return std::nullopt;
  }
}

/// Up to the count of targets.
bool SkipCommon(CkxRecordScan& in) {
  constexpr size_t kUsageAndGui = 2 * sizeof(uint32_t);
  constexpr size_t kAutomation = 1;
  static_assert(sizeof(size_t) > sizeof(uint32_t), "the bytes of any number of links fit in a size");
  uint32_t alerts = 0;
  return in.Skip(sizeof(SkxPolicyBufHeader)) && in.StoredText() &&
         (in.SkipZeros(2 * sizeof(uint32_t)) || (in.Text() && in.Text())) && in.Skip(kUsageAndGui) && in.Read(alerts) &&
         in.Skip(alerts * sizeof(SkxPolicyAlertLink) + kAutomation);
}

size_t SlotOf(const GUID& id, size_t slots) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(&id);
  const uint64_t mixed = (KxBytes_Load<uint64_t>(bytes) ^ KxBytes_Load<uint64_t>(bytes + 8)) * 0x9E3779B97F4A7C15;
  return static_cast<size_t>(mixed >> 32) % slots;
}

}  // namespace

bool CkxPolicyPrefilter::IsUnobserved() { return KxObserve_Steps() == nullptr; }

bool CkxPolicyPrefilter::MayApply(const SkxPolicyBufHeader& policy) {
  const std::optional<size_t> behindTargets = BytesBehindTargets(policy.action);
  if (!behindTargets || _target.IsIncomplete()) return true;
  const auto* const record = reinterpret_cast<const unsigned char*>(&policy);
  CkxRecordScan in(record, policy.size);
  uint32_t targets = 0;
  if (!SkipCommon(in) || !in.Read(targets) || targets == 0) return true;  // without any it may be about everything
  _linkCount = 0;
  const unsigned char* const end = BehindUnmatched(targets, in.At(), in.End(), true);
  if (end == nullptr || static_cast<size_t>(in.End() - end) < *behindTargets) return true;
  return _linkCount != 0 && (IsBeyondTargets(policy.action) || MayMatchLinks());
}

/// Whether such a policy asks something else before its targets.
bool CkxPolicyPrefilter::IsBeyondTargets(EkxPolicyAction action) const {
  return action == EkxPolicyAction::Exclude || (action == EkxPolicyAction::Trust && _target.IsTargetInfoElevator());
}

/// Inlined with all that it leads to for a name: this is what a walk does.
[[gnu::always_inline]] inline bool CkxPolicyPrefilter::MayMatch(const SkxScannedTarget& target) {
  const Subject& subject = _subjects[static_cast<size_t>(target.type)];
  if (subject.state == Subject::State::Found) [[likely]] {
    return (subject.hasProcess || (target.set & kAboutProcesses) == 0) && subject.file->MayMatch(target);
  }
  return subject.state != Subject::State::None && MayMatchUnsought(target);
}

bool CkxPolicyPrefilter::MayMatchUnsought(const SkxScannedTarget& target) {
  Subject& subject = _subjects[static_cast<size_t>(target.type)];
  if (subject.state == Subject::State::Beyond) return true;
  subject = Seek(target.type);
  return subject.state == Subject::State::NotSought || MayMatch(target);
}

/// Where the targets from `at` on end, with those that are links noted; null when one of them may match.
const unsigned char* CkxPolicyPrefilter::BehindUnmatched(uint32_t targets, const unsigned char* at,
                                                         const unsigned char* end, bool canLink) {
  for (; targets != 0; --targets) {
    at = KxTargetScan_Next(at, end, _scanned);
    if (at == nullptr) return nullptr;
    const bool isLink = _scanned.type == EkxPolicyTarget::AppGroupLink;
    if (isLink ? !canLink || !NoteLink(_scanned.group) : MayMatch(_scanned)) return nullptr;
  }
  return at;
}

/// False when there are too many.
bool CkxPolicyPrefilter::NoteLink(const unsigned char* group) {
  if (IsKnownOutside(KxBytes_Load<GUID>(group))) return true;
  if (_linkCount == std::size(_links)) return false;
  _links[_linkCount++] = group;
  return true;
}

/// Groups are found by reading their section, which is done for no policy that turns out to be malformed.
bool CkxPolicyPrefilter::MayMatchLinks() {
  for (size_t i = 0; i < _linkCount; ++i) {
    const auto id = KxBytes_Load<GUID>(_links[i]);
    if (MayMatchInGroup(id)) return true;
    _outside[SlotOf(id, kGroups)] = id;
  }
  return false;
}

bool CkxPolicyPrefilter::IsKnownOutside(const GUID& id) const {
  return KxGuid_Equal(_outside[SlotOf(id, kGroups)], id) && !KxGuid_IsNull(id);
}

/// A group that links to others is beyond a first look.
bool CkxPolicyPrefilter::MayMatchInGroup(const GUID& id) {
  const SkxGroupGlance group = KxPolicyLookup_GlanceAtGroup(id, _target);
  if (group.isOutside) return false;
  if (group.record == nullptr) return true;
  CkxRecordScan in(reinterpret_cast<const unsigned char*>(group.record), group.record->size);
  uint32_t targets = 0;
  if (!in.Skip(sizeof(SkxAppGroupBufHeader)) || !in.Read(targets)) return true;
  if (BehindUnmatched(targets, in.At(), in.End(), false) == nullptr) return true;
  KxPolicyLookup_NoteOutside(id, _target);
  return false;
}

/// What is beyond a first look now may be at hand once a policy has asked for it; what is not there never will be.
CkxPolicyPrefilter::Subject CkxPolicyPrefilter::Seek(EkxPolicyTarget type) {
  const auto only = [](bool isOfKind) {
    return Subject{isOfKind ? Subject::State::Beyond : Subject::State::None, false, nullptr};
  };
  switch (type) {
    case EkxPolicyTarget::Executable:
    case EkxPolicyTarget::Script:
    case EkxPolicyTarget::Msi:
    case EkxPolicyTarget::Msu:
    case EkxPolicyTarget::Dll:
    case EkxPolicyTarget::Exclude:
      return SeekFile(type);
    case EkxPolicyTarget::ActiveX:
      return only(_target.IsTargetInfoActiveX());
    case EkxPolicyTarget::Com:
      return only(_target.IsTargetInfoUacCOM());
    case EkxPolicyTarget::Url:
      return only(_target.IsTargetInfoElevator());
    case EkxPolicyTarget::AppPackage:
      return only(_target.IsTargetInfoFile());
    default:
      return only(true);
  }
}

CkxPolicyPrefilter::Subject CkxPolicyPrefilter::SeekFile(EkxPolicyTarget type) {
  constexpr Subject none = {Subject::State::None, false, nullptr};
  if (!_target.IsTargetInfoFile()) {
    const bool hasPath = type == EkxPolicyTarget::Exclude && _target.QueryPathProvider() != nullptr;
    return hasPath ? Subject{Subject::State::Beyond, false, nullptr} : none;
  }
  const auto& itself = static_cast<const CkxTargetInfoFile&>(_target);
  const auto* const carrier =
      _target.IsTargetInfoProcess() ? static_cast<const CkxTargetInfoProcess*>(&itself) : nullptr;
  if (!itself.IsPathAtHand()) return {};
  if (type == EkxPolicyTarget::Exclude) return About(itself, carrier);
  if (type == EkxPolicyTarget::Executable) return itself.IsTargetType(type) ? About(itself, carrier) : none;

  CkxTargetInfoFile* file = nullptr;
  CkxTargetInfoProcess* process = nullptr;
  const bool isFound = KxUtil_GetFileProcTargetsOfType(_target, type, file, process);
  if (KxFault_Current() != EkxEvaluationFault::None) return {};
  return isFound ? About(*file, process != nullptr ? process : carrier) : none;
}

CkxPolicyPrefilter::Subject CkxPolicyPrefilter::About(const CkxTargetInfoFile& file,
                                                      const CkxTargetInfoProcess* process) {
  if (!file.IsPathAtHand()) return {};
  for (CkxFileFirstLook& look : _files) {
    if (look.File() == nullptr) look.Take(file, process);
    if (look.File() == &file) return {Subject::State::Found, process != nullptr, &look};
  }
  return {Subject::State::Beyond, false, nullptr};
}
