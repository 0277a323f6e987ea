// Looking a record up in a section: how policies, groups and alerts are found by their ids.
#pragma once

#include <kx_util/policy_source.h>

#include "Agent/engine/kx_util/store/section_records.h"
#include "Agent/engine/kx_util/store/store_scope.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/util/trace.h"

/// The first record that `wanted(header)` accepts, made by `make` as a copy of its own, so that it outlives the
/// section. False, with `out` untouched, when there is none; with an error line when that record or one before it is
/// malformed; with the fault noted when the section is refused or there is no memory.
template <class Header, class Wanted, class Object>
bool KxSection_LookUp(EkxPolicySection which, const SkxRecordKind& kind, Wanted wanted,
                      Object* (*make)(const Header* record, bool copy), Object*& out) {
  return KxEntry(false, [&] {
    SkxSectionBytes section;
    const EkxSectionState state = KxPolicySource_Current().OpenSection(which, section);
    if (state == EkxSectionState::Refused) KxFault_Note(EkxEvaluationFault::SectionRefused);
    if (state != EkxSectionState::Open) return false;
    CkxSectionRecords records(kind, section.bytes);
    for (uint32_t i = 0; i < records.Count(); ++i) {
      const auto* const record = reinterpret_cast<const Header*>(records.Next());
      if (record == nullptr) return false;
      if (!wanted(*record)) continue;
      Object* const copy = make(record, true);
      if (copy == nullptr) {
        KxTrace(EkxTraceLevel::Error, kKxStoreScope, "ERROR: ", kind.word, " cannot be read. Record=", i);
        return false;
      }
      out = copy;
      return true;
    }
    return false;
  });
}
