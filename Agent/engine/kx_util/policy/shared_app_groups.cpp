#include <kx_util/shared_app_groups.h>

#include <new>

#include "Agent/engine/kx_util/buffer/buffer_reader.h"
#include "Agent/engine/kx_util/buffer/record_copy.h"
#include "Agent/engine/kx_util/buffer/record_memory.h"

CkxShBufAppGroup* CkxShBufAppGroup::AppGroupFromBuffer(const SkxAppGroupBufHeader* record, bool copy) {
  if (record == nullptr || record->magic != SkxAppGroupBufHeader::kMagic) return nullptr;
  const uint32_t size = record->size;
  if (size < sizeof(SkxAppGroupBufHeader)) return nullptr;

  CkxShBufAppGroupPtr group(KxRecord_NotNull(new (std::nothrow) CkxShBufAppGroup));
  if (group == nullptr || (copy && !group->_CopyBuffer(record, size))) return nullptr;
  const auto* cursor = reinterpret_cast<const unsigned char*>(record);
  unsigned long remaining = size;
  return group->FromBuffer(cursor, remaining) ? group.release() : nullptr;
}

CkxShBufAppGroup::~CkxShBufAppGroup() { delete[] _copy; }

void CkxShBufAppGroup::Release() { delete this; }

void CkxShBufAppGroup::Release(CkxShBufAppGroup* group) {
  if (group != nullptr) group->Release();
}

bool CkxShBufAppGroup::_CopyBuffer(const SkxAppGroupBufHeader*& record, uint32_t size) {
  _copy = KxRecord_Copy(record, size, "CkxShBufAppGroup");
  if (_copy == nullptr) return false;
  record = reinterpret_cast<const SkxAppGroupBufHeader*>(_copy);
  return true;
}

bool CkxShBufAppGroup::FromBuffer(const unsigned char*& cursor, unsigned long& remaining) {
  CkxBufReader in(cursor, remaining);
  if (in.Header(_header) && in.List(_targets, CkxShBufTarget::TargetFromBuffer)) return true;
  _header = nullptr;
  _targets = CkxShBufList();
  return false;
}

const CkxShBufTarget* CkxShBufAppGroup::FindMatch(const CkxTargetInfo& target) const {
  return KxEntry<const CkxShBufTarget*>(nullptr, [&]() -> const CkxShBufTarget* {
    if (target.IsIncomplete()) KxFault_Note(EkxEvaluationFault::OutOfMemory);
    for (const CkxShBufTarget& candidate : CkxNodes<CkxShBufTarget>(_targets)) {
      if (!KxWork_Spend(kWorkOfTarget)) return nullptr;
      if (candidate.Matches(target)) return &candidate;
    }
    return nullptr;
  });
}

bool CkxShBufAppGroup::MatchTarget(const CkxTargetInfo& target, SkxTriggerPolicyShortInfo& info) const {
  const CkxShBufTarget* const match = FindMatch(target);
  if (match != nullptr) match->FillTargetInfo(info);
  return match != nullptr;
}

bool CkxShBufAppGroup::EnumTargets(KxTargetCallback callback, void* context) const {
  if (callback == nullptr) return false;
  for (const CkxShBufTarget& target : CkxNodes<CkxShBufTarget>(_targets)) {
    if (!callback(target, context)) return false;
  }
  return true;
}

void CkxShBufAppGroup::DoMatchTarget(void* matchContext) {
  if (matchContext == nullptr) return;
  auto& context = *static_cast<SkxMatchContext*>(matchContext);
  context.found = MatchTarget(context.target, context.info);
}

void CkxShBufAppGroup::DoEnumTargets(void* enumContext) {
  if (enumContext == nullptr) return;
  auto& context = *static_cast<SkxEnumContext*>(enumContext);
  context.completed = EnumTargets(context.callback, context.context);
}
