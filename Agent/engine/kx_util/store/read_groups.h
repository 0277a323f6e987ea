// All groups of one publication, read once and never changed again: any number of threads find them here at once.
#pragma once

#include <kx_util/policy_source.h>
#include <kx_util/shared_app_groups.h>

#include <unordered_map>

#include "Agent/engine/kx_util/store/section_records.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/guid.h"

/// Ids are made at random, or by somebody who would like all of them in one bucket: so every byte counts, in a manner
/// that differs from run to run.
struct SkxGroupIdHash {
  size_t operator()(const GUID& id) const;
};
struct SkxGroupIdEqual {
  bool operator()(const GUID& a, const GUID& b) const { return KxGuid_Equal(a, b); }
};
template <class Group>
using KxGroupsById = std::unordered_map<GUID, Group, SkxGroupIdHash, SkxGroupIdEqual>;

/// The record of each group of a section, by its id: the first one counts. Returns the line of the damage that ends the
/// section early, empty for none.
template <class Group>
std::string_view KxGroupRecords_Index(std::span<const unsigned char> section, KxGroupsById<Group>& groups) {
  CkxSectionRecords records(kKxAppGroupRecord, section);
  if (!records.HasCount()) return KxUtil_FaultText(EkxEvaluationFault::Malformed);
  for (uint32_t i = 0; i < records.Count() && KxWork_Spend(1); ++i) {
    const auto* const record = reinterpret_cast<const SkxAppGroupBufHeader*>(records.Next());
    if (record == nullptr) return records.Fault();
    const GUID id = record->id;
    Group& group = groups[id];
    if (group.record == nullptr) group.record = record;
  }
  return {};
}

/// Null, with an error line, when the record is malformed.
CkxShBufAppGroupPtr KxGroupRecord_Read(const SkxAppGroupBufHeader* record);

struct SkxReadGroup {
  const SkxAppGroupBufHeader* record = nullptr;
  CkxShBufAppGroupPtr group;  ///< null when the record is malformed
};

class CkxReadGroups {
 public:
  /// `source` keeps the bytes of the section, for longer than this lives.
  explicit CkxReadGroups(const IkxPolicySource& source);

  /// Null when there is none of that id, or none that can be had.
  const SkxReadGroup* Find(const GUID& id) const;

  /// Whether a group that is not found is not there; else it may lie in what cannot be read.
  bool AreAllKnown() const { return !_isRefused && _damage.empty(); }

  /// Notes why they are not.
  void NoteFault() const;

 private:
  bool _isRefused = false;
  std::string_view _damage;  // what ends the section early
  KxGroupsById<SkxReadGroup> _groups;
};
