// What the library's own readers make of the bytes of a record: how many of them they take, or that they refuse it.
#pragma once

#include <kx_util/policy_source.h>
#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include <optional>

#include "Agent/engine/kx_util/store/section_records.h"
#include "tests/support/record_bytes.h"

/// Read once as `make` does, and once more for the count of bytes, which objects do not tell.
template <class Release, class Header, class Object>
std::optional<size_t> KxTest_Consumed(const unsigned char* record, Object* (*make)(const Header*, bool)) {
  const std::unique_ptr<Object, Release> object(make(reinterpret_cast<const Header*>(record), false));
  if (object == nullptr) return std::nullopt;
  const unsigned char* cursor = record;
  unsigned long remaining = object->BufferSize();
  if (!object->FromBuffer(cursor, remaining)) return std::nullopt;
  return static_cast<size_t>(cursor - record);
}

/// The bytes as the only record of a section.
inline std::optional<size_t> KxTest_ReadRecord(EkxPolicySection which, const KxBytes& bytes) {
  const SkxRecordKind* const kinds[] = {&kKxPolicyRecord, &kKxAppGroupRecord, &kKxAlertRecord};
  CkxExactBytes section(CkxRecordBytes().U32(1).Append(bytes).Bytes());
  CkxSectionRecords records(*kinds[static_cast<size_t>(which)], {section.Data(), section.remaining});
  const unsigned char* const record = records.Next();
  if (record == nullptr) return std::nullopt;
  switch (which) {
    case EkxPolicySection::Policies:
      return KxTest_Consumed<SkxPolicyRelease>(record, CkxShBufPolicy::PolicyFromBuffer);
    case EkxPolicySection::AppGroups:
      return KxTest_Consumed<SkxAppGroupRelease>(record, CkxShBufAppGroup::AppGroupFromBuffer);
    case EkxPolicySection::Alerts:
      break;
  }
  return KxTest_Consumed<SkxCustGuiRelease>(record, CkxShBufCustGuiBase::CustGuiFromBuffer);
}
