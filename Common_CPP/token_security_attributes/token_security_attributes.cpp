#include "Common_CPP/token_security_attributes/token_security_attributes.h"

#include <algorithm>

#include "Common_CPP/access_token/access_token.h"
#include "Common_CPP/token_security_attributes/native_token_attributes.h"
#include "Common_CPP/util/format.h"
#include "Common_CPP/util/trace.h"

namespace {

constexpr std::string_view kTokenAttributesScope = "CkxTokenSecurityAttributes";

constexpr size_t kMaxNameUnits = UINT16_MAX / sizeof(WCHAR);

/// How often a list is asked for that grows meanwhile.
constexpr int kMaxQueries = 8;

template <class... Pieces>
bool FailedWith(const Pieces&... pieces) {
  KxTrace(EkxTraceLevel::Error, kTokenAttributesScope, pieces...);
  return false;
}

bool IsToken(void* token) { return token != nullptr || FailedWith("ERROR: token is NULL"); }

bool ListNative(void* token, std::vector<SkxTokenAttribute>& attributes) {
  std::vector<uint64_t> answer(64);  // aligned as the records are
  long status = kKxStatusBufferTooSmall;
  for (int query = 0; query < kMaxQueries && status == kKxStatusBufferTooSmall; ++query) {
    uint32_t needed = 0;
    const std::span bytes(reinterpret_cast<unsigned char*>(answer.data()), answer.size() * sizeof(uint64_t));
    status = KxNativeTokenAttributes().query(token, bytes, needed);
    if (status >= 0) {
      auto read = KxTokenAttributes_Read(bytes);
      if (!read) return FailedWith("ERROR: Token security attributes are malformed");
      attributes = *std::move(read);
      return true;
    }
    answer.assign(std::max<size_t>(needed / sizeof(uint64_t) + 1, answer.size()), 0);
  }
  return FailedWith("ERROR: Failed to query token security attributes. Status=", KxStatus_Text(status));
}

bool IsNamedIn(const std::vector<SkxTokenAttribute>& attributes, const KxWString& name) {
  return std::any_of(attributes.begin(), attributes.end(), [&](const auto& other) { return other.name == name; });
}

/// Which operation it takes depends on whether the attribute is there, which somebody else may change in between: what
/// failed is tried once more if it has. Nothing is done by KxTokenOperationNone.
bool ChangeNative(void* token, const SkxTokenAttribute& attribute, EkxTokenOperation whenThere,
                  EkxTokenOperation whenAbsent) {
  if (attribute.name.size() > kMaxNameUnits) {
    return FailedWith("ERROR: The name of a token security attribute is too long");
  }
  std::vector<SkxTokenAttribute> attributes;
  if (!ListNative(token, attributes)) return false;
  long status = kKxStatusSuccess;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const bool isThere = IsNamedIn(attributes, attribute.name);
    const EkxTokenOperation operation = isThere ? whenThere : whenAbsent;
    if (operation == KxTokenOperationNone) return true;
    const CkxTokenAttributeRequest request(attribute, operation);
    status = KxNativeTokenAttributes().set(token, request.Record());
    if (status >= 0) return true;
    if (!ListNative(token, attributes)) return false;
    if (IsNamedIn(attributes, attribute.name) == isThere) break;
  }
  return FailedWith("ERROR: Failed to change token security attribute [", CkxTextView(attribute.name),
                    "]. Status=", KxStatus_Text(status));
}

KxWString TypeName(uint16_t type) {
  switch (type) {
    case KxTokenInt64:
      return KXW("INT64");
    case KxTokenUInt64:
      return KXW("UINT64");
    case KxTokenString:
      return KXW("STRING");
    case KxTokenFqbn:
      return KXW("FQBN");
    case KxTokenSid:
      return KXW("SID");
    case KxTokenBoolean:
      return KXW("BOOLEAN");
    case KxTokenOctetString:
      return KXW("OCTET_STRING");
    default:
      return KXW("UNKNOWN");
  }
}

struct FlagName {
  uint32_t flag;
  const WCHAR* name;
};
constexpr FlagName kFlagNames[] = {
    {KxTokenNonInheritable, KXW("NON_INHERITABLE")},
    {KxTokenValueCaseSensitive, KXW("VALUE_CASE_SENSITIVE")},
    {KxTokenUseForDenyOnly, KXW("USE_FOR_DENY_ONLY")},
    {KxTokenDisabledByDefault, KXW("DISABLED_BY_DEFAULT")},
    {KxTokenDisabled, KXW("DISABLED")},
    {KxTokenMandatory, KXW("MANDATORY")},
    {KxTokenCompareIgnore, KXW("COMPARE_IGNORE")},
};

/// Joined by "|"; those without a name as one number at the end.
CkxUtilStr FlagNames(uint32_t flags) {
  CkxUtilStr names;
  const auto separate = [&names] {
    if (!names.IsEmpty()) names.Append(KXW("|"));
  };
  for (const FlagName& row : kFlagNames) {
    if ((flags & row.flag) == 0) continue;
    separate();
    names.Append(row.name);
    flags &= ~row.flag;
  }
  if (flags == 0 && !names.IsEmpty()) return names;
  separate();
  KxText_AppendFormat(names, flags == 0 ? KXW("0") : KXW("0x%.8X"), flags);
  return names;
}

}  // namespace

bool CkxTokenSecurityAttributes::AreSupported(void* token) {
  if (token != nullptr && CkxAccessToken::FromHandle(token) != nullptr) return true;
  const SkxOsVersion version = KxNativeTokenAttributes().osVersion();
  return version.major > 6 || (version.major == 6 && version.minor >= 2);
}

uint32_t CkxTokenSecurityAttributes::OsMajor() { return KxNativeTokenAttributes().osVersion().major; }

bool CkxTokenSecurityAttributes::Set(void* token, const SkxTokenAttribute& attribute) {
  if (!IsToken(token)) return false;
  const CkxAccessToken* const object = CkxAccessToken::FromHandle(token);
  if (object == nullptr) return ChangeNative(token, attribute, KxTokenReplace, KxTokenAdd);
  object->Attributes().Set(attribute);
  return true;
}

bool CkxTokenSecurityAttributes::List(void* token, std::vector<SkxTokenAttribute>& attributes) {
  if (!IsToken(token)) return false;
  const CkxAccessToken* const object = CkxAccessToken::FromHandle(token);
  if (object == nullptr) return ListNative(token, attributes);
  attributes = object->Attributes().List();
  return true;
}

bool CkxTokenSecurityAttributes::Delete(void* token, CkxTextView name) {
  if (!IsToken(token)) return false;
  const CkxAccessToken* const object = CkxAccessToken::FromHandle(token);
  SkxTokenAttribute attribute;
  attribute.name = name.ToString();
  attribute.type = KxTokenUInt64;  // what is deleted is found by its name, but the record must be one that could be
  if (object == nullptr) return ChangeNative(token, attribute, KxTokenDelete, KxTokenOperationNone);
  object->Attributes().Delete(attribute.name);
  return true;
}

KxWString CkxTokenSecurityAttributes::Description(const SkxTokenAttribute& attribute) {
  CkxUtilStr text;
  KxText_AppendFormat(text, KXW("Type=%u (%s), Flags=0x%.8X (%s) Count=%u"), attribute.type, TypeName(attribute.type),
                      attribute.flags, FlagNames(attribute.flags), static_cast<uint32_t>(attribute.values.size()));
  return text.View().ToString();
}
