#include "Agent/engine/kx_util/section_records.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Common_CPP/util/trace.h"

const SkxRecordKind kKxPolicyRecord = {SkxPolicyBufHeader::kMagic, sizeof(SkxPolicyBufHeader), "Policy", "policy"};
const SkxRecordKind kKxAppGroupRecord = {SkxAppGroupBufHeader::kMagic, sizeof(SkxAppGroupBufHeader), "AppGroup",
                                         "AppGroup"};
const SkxRecordKind kKxAlertRecord = {SkxAlertBufHeader::kMagic, sizeof(SkxAlertBufHeader), "Alert", "Alert"};

CkxSectionRecords::CkxSectionRecords(const SkxRecordKind& kind, std::span<const unsigned char> section) : _kind(kind) {
  if (section.size() < sizeof(_count)) return;
  _count = KxBytes_Load<uint32_t>(section.data());
  _cursor = section.data() + sizeof(_count);
  _end = section.data() + section.size();
}

const unsigned char* CkxSectionRecords::Next() {
  const auto left = static_cast<size_t>(_end - _cursor);
  if (left < _kind.headerBytes) return Fail(std::string("ERROR: ") + _kind.word + " header is out of buffer");
  if (KxBytes_Load<uint32_t>(_cursor) != _kind.signature) {
    return Fail(std::string("ERROR: Error in ") + _kind.signatureWord + " header signature.");
  }
  const auto size = KxBytes_Load<uint32_t>(_cursor + sizeof(uint32_t));
  if (size < _kind.headerBytes || size > left) return Fail(std::string("ERROR: ") + _kind.word + " is out of buffer");
  const unsigned char* const record = _cursor;
  _cursor += size;
  return record;
}

const unsigned char* CkxSectionRecords::Fail(std::string line) {
  _fault = std::move(line);
  KxTrace(EkxTraceLevel::Error, "CkxSharedPoliciesData", _fault);
  return nullptr;
}
