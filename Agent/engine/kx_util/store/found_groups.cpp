#include "Agent/engine/kx_util/store/found_groups.h"

#include <algorithm>
#include <utility>

#include "Agent/engine/kx_util/store/section_records.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/thread/thread_slot.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr unsigned kAnyDepth = 0;

/// A remembered question: of which description, and at which depth.
uint64_t Question(const CkxTargetInfo& target, unsigned depth) {
  static_assert(CkxFoundGroups::kMaxDepth < 16);
  return target.Identity() << 4 | depth;
}

/// The innermost scope's groups of this thread.
const CkxThreadPointer<CkxFoundGroups>& InForce() {
  static const CkxThreadPointer<CkxFoundGroups> groups;
  return groups;
}

}  // namespace

/// One group more around what is asked inside.
class CkxFoundGroups::Level {
 public:
  explicit Level(CkxFoundGroups& groups) : _groups(groups) { ++_groups._depth; }
  ~Level() { --_groups._depth; }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;

 private:
  CkxFoundGroups& _groups;
};

CkxFoundGroups::Scope::Scope() : _previous(InForce().Get()) {
  const IkxPolicySource& source = KxPolicySource_Current();
  if (_previous != nullptr && &_previous->_source == &source) return;
  _own.emplace(source);
  if (!InForce().Set(&*_own)) throw std::bad_alloc();
}

CkxFoundGroups::Scope::~Scope() { InForce().Set(_previous); }

CkxFoundGroups& CkxFoundGroups::Current() { return *InForce().Get(); }

/// Ids are made at random, or by somebody who would like all of them in one bucket: so every byte counts, in a manner
/// that differs from run to run.
size_t CkxFoundGroups::SkxGuidHash::operator()(const GUID& id) const {
  static const auto secret = reinterpret_cast<uintptr_t>(&InForce()) | 1;
  uint64_t halves[2];
  std::memcpy(halves, &id, sizeof(halves));
  uint64_t hash = (halves[0] ^ secret) * 0x9E3779B97F4A7C15;
  hash = (hash ^ (hash >> 32) ^ halves[1]) * 0x9E3779B97F4A7C15;
  return static_cast<size_t>(hash ^ (hash >> 32));
}

/// The first record with an id counts.
void CkxFoundGroups::Index() {
  _isIndexed = true;
  const EkxSectionState state = _source.OpenSection(EkxPolicySection::AppGroups, _section);
  if (state == EkxSectionState::Refused) KxFault_Note(EkxEvaluationFault::SectionRefused);
  if (state != EkxSectionState::Open) return;
  CkxSectionRecords records(kKxAppGroupRecord, _section.bytes);
  if (!records.HasCount()) _damage = KxUtil_FaultText(EkxEvaluationFault::Malformed);
  for (uint32_t i = 0; i < records.Count() && KxWork_Spend(1); ++i) {
    const auto* const record = reinterpret_cast<const SkxAppGroupBufHeader*>(records.Next());
    if (record == nullptr) {
      _damage = records.Fault();
      return;
    }
    const GUID id = record->id;
    SkxGroup& group = _groups[id];
    if (group.record == nullptr) group.record = record;
  }
}

CkxFoundGroups::SkxGroup* CkxFoundGroups::Find(const GUID& id) {
  if (!_isIndexed) Index();
  const auto found = _groups.find(id);
  if (found == _groups.end()) {
    if (!_damage.empty()) KxFault_Note(EkxEvaluationFault::Malformed, _damage);
    return nullptr;
  }
  SkxGroup& group = found->second;
  if (!std::exchange(group.isRead, true)) {
    group.group.reset(CkxShBufAppGroup::AppGroupFromBuffer(group.record, false));
    if (group.group == nullptr)
      KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: AppGroup cannot be read. Id=", KxGuid_ToUtf8(id));
  }
  return group.group != nullptr ? &group : nullptr;
}

bool CkxFoundGroups::IsTooDeep(const GUID& id) {
  if (_depth < kMaxDepth) return false;
  _reach.wasCut = true;
  KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: Application groups nest too deep at ", KxGuid_ToUtf8(id));
  return true;
}

std::optional<const CkxShBufTarget*> CkxFoundGroups::Match(const GUID& id, const CkxTargetInfo& target) {
  if (!KxWork_Spend(1) || IsTooDeep(id)) return std::nullopt;
  SkxGroup* const found = Find(id);
  if (found == nullptr) return std::nullopt;
  const Level level(*this);
  if (const SkxVerdict* const known = Remembered(*found, target)) return known->match;
  return Judge(*found, target);
}

/// Whoever writes policies decides how many link to a group, and how long that is: a record is handed out once.
SkxGroupGlance CkxFoundGroups::GlanceAt(const GUID& id, const CkxTargetInfo& target) {
  if (!_isIndexed) Index();
  const auto found = _groups.find(id);
  if (found == _groups.end()) return {_damage.empty() && KxFault_Current() == EkxEvaluationFault::None, nullptr};
  SkxGroup& group = found->second;
  const bool isFirst = std::exchange(group.glancedFor, target.Identity()) != target.Identity();
  if (isFirst) group.isOutside = false;
  const Level level(*this);
  const SkxVerdict* const known = Remembered(group, target);
  return {group.isOutside || (known != nullptr && known->match == nullptr), isFirst ? group.record : nullptr};
}

void CkxFoundGroups::NoteOutside(const GUID& id, const CkxTargetInfo& target) {
  const auto found = _groups.find(id);
  if (found != _groups.end() && found->second.glancedFor == target.Identity()) found->second.isOutside = true;
}

const CkxFoundGroups::SkxVerdict* CkxFoundGroups::Remembered(const SkxGroup& found, const CkxTargetInfo& target) {
  const auto known = found.verdicts.find(Question(target, kAnyDepth));
  if (known != found.verdicts.end() && _depth + known->second.levelsBelow <= kMaxDepth) {
    _reach.deepest = std::max(_reach.deepest, _depth + known->second.levelsBelow);
    return &known->second;
  }
  const auto knownHere = found.verdicts.find(Question(target, _depth));
  if (knownHere == found.verdicts.end()) return nullptr;
  _reach = {kMaxDepth, true};
  return &knownHere->second;
}

const CkxShBufTarget* CkxFoundGroups::Judge(SkxGroup& found, const CkxTargetInfo& target) {
  const SkxReach around = std::exchange(_reach, {_depth, false});
  const CkxShBufTarget* const match = found.group->FindMatch(target);
  const SkxReach reach = _reach;
  _reach = {std::max(around.deepest, reach.deepest), around.wasCut || reach.wasCut};
  if (KxFault_Current() == EkxEvaluationFault::None) {
    found.verdicts[Question(target, reach.wasCut ? _depth : kAnyDepth)] = {match, reach.deepest - _depth};
  }
  return match;
}

bool CkxFoundGroups::Enumerate(const GUID& id, CkxShBufAppGroup::SkxEnumContext& enumeration) {
  if (!KxWork_Spend(1 + _handedOut.size()) || IsTooDeep(id)) return false;
  SkxGroup* const found = Find(id);
  if (found == nullptr) return false;
  const auto isOfThis = [&](const SkxHandedOut& done) {
    return done.callback == enumeration.callback && done.context == enumeration.context;
  };
  const auto isThis = [&](const SkxHandedOut& done) { return isOfThis(done) && done.group == found; };
  if (std::any_of(_handedOut.begin(), _handedOut.end(), isThis)) return true;

  const bool isOutermost = std::none_of(_handedOut.begin(), _handedOut.end(), isOfThis);
  _handedOut.push_back({found, enumeration.callback, enumeration.context});
  const Level level(*this);
  found->group->DoEnumTargets(&enumeration);
  if (isOutermost) std::erase_if(_handedOut, isOfThis);  // another may come to lie at the same address
  return true;
}

bool CkxFoundGroups::Call(const GUID& id, void (CkxShBufAppGroup::*member)(void*), void* context) {
  if (IsTooDeep(id)) return false;
  SkxGroup* const found = Find(id);
  if (found == nullptr) return false;
  const Level level(*this);
  (found->group.get()->*member)(context);
  return true;
}
