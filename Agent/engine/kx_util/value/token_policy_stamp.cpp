// The policy decision on a token: set, read and taken off as one security attribute.
#include <kx_util/token_policy_data.h>

#include <algorithm>
#include <cstring>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/token_security_attributes/token_security_attributes.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kTokenStampScope = "CkxTokenPolicyData";

/// The first version whose systems look away from the attribute when they compare tokens.
constexpr uint32_t kComparingOsMajor = 10;

}  // namespace

const WCHAR* const CkxTokenPolicyData::_theAttrName = KXW("ZOR://TPD");

SkxTokenAttribute CkxTokenPolicyData::ToAttribute(bool inheritable, uint32_t osMajor) const {
  uint64_t numbers[_QwordValuesCount()] = {};
  std::memcpy(numbers, static_cast<const SkxTokenPolicyData*>(this), sizeof(SkxTokenPolicyData));
  SkxTokenAttribute attribute;
  attribute.name = _theAttrName;
  attribute.type = KxTokenUInt64;
  attribute.flags = inheritable                   ? KxTokenMandatory
                    : osMajor < kComparingOsMajor ? KxTokenNonInheritable
                                                  : KxTokenNonInheritable | KxTokenCompareIgnore;
  for (const uint64_t number : numbers) attribute.values.emplace_back().number = number;
  return attribute;
}

bool CkxTokenPolicyData::FromAttributes(const std::vector<SkxTokenAttribute>& attributes) {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [](const SkxTokenAttribute& attribute) { return attribute.name == _theAttrName; });
  if (found == attributes.end()) return false;
  if (found->type != KxTokenUInt64 || found->values.size() != _QwordValuesCount()) {
    KxTrace(EkxTraceLevel::Error, kTokenStampScope,
            "ERROR:Unexpected Token policy data: ", CkxTextView(CkxTokenSecurityAttributes::Description(*found)));
    return false;
  }
  uint64_t numbers[_QwordValuesCount()];
  std::transform(found->values.begin(), found->values.end(), numbers,
                 [](const SkxTokenAttribute::Value& value) { return value.number; });
  std::memcpy(static_cast<SkxTokenPolicyData*>(this), numbers, sizeof(SkxTokenPolicyData));
  return true;
}

bool CkxTokenPolicyData::SetToToken(void* token, bool inheritable) const {
  return KxEntry(false, [&] {
    if (!CkxTokenSecurityAttributes::AreSupported(token)) return false;
    const SkxTokenAttribute attribute = ToAttribute(inheritable, CkxTokenSecurityAttributes::OsMajor());
    if (CkxTokenSecurityAttributes::Set(token, attribute)) return true;
    KxTrace(EkxTraceLevel::Error, kTokenStampScope, "ERROR: Failed to set token policy data");
    return false;
  });
}

bool CkxTokenPolicyData::GetFromToken(void* token) {
  return KxEntry(false, [&] {
    std::vector<SkxTokenAttribute> attributes;
    return CkxTokenSecurityAttributes::AreSupported(token) && CkxTokenSecurityAttributes::List(token, attributes) &&
           FromAttributes(attributes);
  });
}

bool CkxTokenPolicyData::DeleteFromToken(void* token) {
  return KxEntry(false, [&] {
    return CkxTokenSecurityAttributes::AreSupported(token) && CkxTokenSecurityAttributes::Delete(token, _theAttrName);
  });
}
