#include "Agent/engine/kx_util/store/read_groups.h"

#include "Agent/engine/kx_util/store/store_scope.h"
#include "Common_CPP/util/trace.h"

size_t SkxGroupIdHash::operator()(const GUID& id) const {
  static const auto secret = reinterpret_cast<uintptr_t>(&kKxAppGroupRecord) | 1;
  uint64_t halves[2];
  std::memcpy(halves, &id, sizeof(halves));
  uint64_t hash = (halves[0] ^ secret) * 0x9E3779B97F4A7C15;
  hash = (hash ^ (hash >> 32) ^ halves[1]) * 0x9E3779B97F4A7C15;
  return static_cast<size_t>(hash ^ (hash >> 32));
}

CkxShBufAppGroupPtr KxGroupRecord_Read(const SkxAppGroupBufHeader* record) {
  CkxShBufAppGroupPtr group(CkxShBufAppGroup::AppGroupFromBuffer(record, false));
  if (group == nullptr) {
    const GUID id = record->id;
    KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: AppGroup cannot be read. Id=", KxGuid_ToUtf8(id));
  }
  return group;
}

CkxReadGroups::CkxReadGroups(const IkxPolicySource& source) {
  SkxSectionBytes section;
  const EkxSectionState state = source.OpenSection(EkxPolicySection::AppGroups, section);
  _isRefused = state == EkxSectionState::Refused;
  if (state != EkxSectionState::Open) return;
  _damage = KxGroupRecords_Index(section.bytes, _groups);
  for (auto& [id, group] : _groups) group.group = KxGroupRecord_Read(group.record);
}

const SkxReadGroup* CkxReadGroups::Find(const GUID& id) const {
  const auto found = _groups.find(id);
  return found != _groups.end() ? &found->second : nullptr;
}

void CkxReadGroups::NoteFault() const {
  if (_isRefused) KxFault_Note(EkxEvaluationFault::SectionRefused);
  if (!_damage.empty()) KxFault_Note(EkxEvaluationFault::Malformed, _damage);
}
