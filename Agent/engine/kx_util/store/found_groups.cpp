#include "Agent/engine/kx_util/store/found_groups.h"

#include <algorithm>
#include <utility>

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

CkxFoundGroups::Scope::Scope(const IkxPolicySource& source, const CkxReadGroups& read) : _previous(InForce().Get()) {
  _own.emplace(source, &read);
  if (!InForce().Set(&*_own)) throw std::bad_alloc();
}

CkxFoundGroups::Scope::~Scope() { InForce().Set(_previous); }

CkxFoundGroups& CkxFoundGroups::Current() { return *InForce().Get(); }

void CkxFoundGroups::Index() {
  _isIndexed = true;
  const EkxSectionState state = _source.OpenSection(EkxPolicySection::AppGroups, _section);
  if (state == EkxSectionState::Refused) KxFault_Note(EkxEvaluationFault::SectionRefused);
  if (state == EkxSectionState::Open) _damage = KxGroupRecords_Index(_section.bytes, _groups);
}

/// Null for a group that is not found.
CkxFoundGroups::SkxGroup* CkxFoundGroups::Known(const GUID& id) {
  if (_read == nullptr && !_isIndexed) Index();
  const auto found = _groups.find(id);
  if (found != _groups.end()) return &found->second;
  const SkxReadGroup* const read = _read != nullptr ? _read->Find(id) : nullptr;
  if (read == nullptr) return nullptr;
  SkxGroup& group = _groups[id];
  group.record = read->record;
  group.group = read->group.get();
  group.isRead = true;
  return &group;
}

/// A group that is not found may lie in what cannot be read.
void CkxFoundGroups::NoteUnknown() const {
  if (_read != nullptr) _read->NoteFault();
  if (!_damage.empty()) KxFault_Note(EkxEvaluationFault::Malformed, _damage);
}

CkxFoundGroups::SkxGroup* CkxFoundGroups::Find(const GUID& id) {
  SkxGroup* const group = Known(id);
  if (group == nullptr) {
    NoteUnknown();
    return nullptr;
  }
  if (!std::exchange(group->isRead, true)) {
    group->own = KxGroupRecord_Read(group->record);
    group->group = group->own.get();
  }
  return group->group != nullptr ? group : nullptr;
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
  SkxGroup* const group = Known(id);
  if (group == nullptr) return {AreAllKnown() && KxFault_Current() == EkxEvaluationFault::None, nullptr};
  const bool isFirst = std::exchange(group->glancedFor, target.Identity()) != target.Identity();
  if (isFirst) group->isOutside = false;
  const Level level(*this);
  const SkxVerdict* const known = Remembered(*group, target);
  return {group->isOutside || (known != nullptr && known->match == nullptr), isFirst ? group->record : nullptr};
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
  (found->group->*member)(context);
  return true;
}
