#include "Agent/engine/kx_util/store/section_records.h"

#include <kx_util/shared_app_groups.h>
#include <kx_util/shared_cust_gui.h>
#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_util/store/store_scope.h"
#include "Common_CPP/util/trace.h"

const SkxRecordKind kKxPolicyRecord = {.signature = SkxPolicyBufHeader::kMagic,
                                       .headerBytes = sizeof(SkxPolicyBufHeader),
                                       .word = "Policy",
                                       .headerOutOfBuffer = "ERROR: Policy header is out of buffer",
                                       .wrongSignature = "ERROR: Error in policy header signature.",
                                       .outOfBuffer = "ERROR: Policy is out of buffer"};
const SkxRecordKind kKxAppGroupRecord = {.signature = SkxAppGroupBufHeader::kMagic,
                                         .headerBytes = sizeof(SkxAppGroupBufHeader),
                                         .word = "AppGroup",
                                         .headerOutOfBuffer = "ERROR: AppGroup header is out of buffer",
                                         .wrongSignature = "ERROR: Error in AppGroup header signature.",
                                         .outOfBuffer = "ERROR: AppGroup is out of buffer"};
const SkxRecordKind kKxAlertRecord = {.signature = SkxAlertBufHeader::kMagic,
                                      .headerBytes = sizeof(SkxAlertBufHeader),
                                      .word = "Alert",
                                      .headerOutOfBuffer = "ERROR: Alert header is out of buffer",
                                      .wrongSignature = "ERROR: Error in Alert header signature.",
                                      .outOfBuffer = "ERROR: Alert is out of buffer"};

CkxSectionRecords::CkxSectionRecords(const SkxRecordKind& kind, std::span<const unsigned char> section) : _kind(kind) {
  if (section.size() < sizeof(_count)) return;
  _count = KxBytes_Load<uint32_t>(section.data());
  _cursor = section.data() + sizeof(_count);
  _end = section.data() + section.size();
}

const unsigned char* CkxSectionRecords::Fail(std::string_view line) {
  _fault = line;
  KxTrace(EkxTraceLevel::Error, kKxStoreScope, _fault);
  return nullptr;
}
