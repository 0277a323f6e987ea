// Policies read from records put together by hand.
#pragma once

#include <kx_util/shared_policy_kinds.h>
#include <kx_util/target_info_file.h>

#include "Common_CPP/util/text.h"
#include "tests/support/target_records.h"

inline CkxShBufPolicyPtr KxTest_ReadPolicy(const CkxExactBytes& bytes, bool copy = false) {
  return CkxShBufPolicyPtr(CkxShBufPolicy::PolicyFromBuffer(bytes.As<SkxPolicyBufHeader>(), copy));
}

/// A policy with the record that it points into.
template <class Policy = CkxShBufPolicyWithTargets>
struct CkxHeldPolicy {
  explicit CkxHeldPolicy(const CkxRecordBytes& record) : bytes(record.Bytes()), policy(KxTest_ReadPolicy(bytes)) {}
  const Policy* operator->() const { return static_cast<const Policy*>(policy.get()); }

  CkxExactBytes bytes;
  CkxShBufPolicyPtr policy;
};

/// `GetDebugMessage`; its bytes are counted right before it.
inline std::string KxTest_DebugText(const CkxShBufPolicy& policy) {
  KxBstr text = nullptr;
  if (!policy.GetDebugMessage(text)) return "no memory";
  uint32_t bytes = 0;
  std::memcpy(&bytes, reinterpret_cast<const unsigned char*>(text) - sizeof(bytes), sizeof(bytes));
  std::string utf8 = KxText_ToUtf8(CkxTextView(text, bytes / sizeof(WCHAR)));
  KxBstr_Free(text);
  return utf8;
}

/// A file of that type, of which only the path is known.
inline CkxTargetInfoPtr KxTest_Program(const WCHAR* path, EkxPolicyTarget type = EkxPolicyTarget::Executable) {
  SkxFileFacts facts;
  facts.path = path;
  facts.targetType = static_cast<uint32_t>(type);
  return CkxTargetInfoPtr(new CkxTargetInfoFile(facts, nullptr));
}
