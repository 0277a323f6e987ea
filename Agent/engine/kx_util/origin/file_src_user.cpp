#include <kx_util/file_src_user.h>

#include <algorithm>

#include "Agent/engine/kx_util/origin/source_xml.h"
#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/access_token/access_token.h"

bool CkxFileSrcUser::Fill(void* token, bool byKX) {
  return KxEntry(false, [&] {
    SkxFileSrcUserFacts facts;
    facts.sid = KxToken_User(token);
    if (!facts.sid || facts.sid->Equals(CkxSid::Null())) return false;
    facts.byKX = byKX;
    facts.limited = !KxToken_IsAdministrator(token);
    std::optional<std::vector<CkxSid>> groups = KxToken_Groups(token);
    if (!groups) return false;
    facts.groups = *std::move(groups);
    if (KxFault_Current() == EkxEvaluationFault::None) _facts = std::move(facts);
    return true;
  });
}

bool CkxFileSrcUser::IsOrBelongsTo(const CkxSid& sid) const {
  const auto isThat = [&](const CkxSid& one) { return one.Equals(sid); };
  return (_facts.sid && isThat(*_facts.sid)) || std::any_of(_facts.groups.begin(), _facts.groups.end(), isThat);
}

KxWString CkxFileSrcUser::DisplayName() const {
  return KxEntry(KxWString(), [&] {
    if (!_facts.sid) return KxWString(KXW("UNKNOWN"));
    return _facts.sid->ToUtf8() == "S-1-5-18" ? KxWString(KXW("NT AUTHORITY\\SYSTEM")) : _facts.sid->ToText();
  });
}

bool CkxFileSrcUser::ToXml(tinyxml2::XMLElement& parent) const {
  return KxEntry(false, [&] { return KxSourceXml_Write(parent, "User", *this); });
}

bool CkxFileSrcUser::FromXml(const tinyxml2::XMLElement& user) {
  return KxEntry(false, [&] { return KxSourceXml_Read(user, *this); });
}
