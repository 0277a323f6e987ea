#include "Common_CPP/access_token/access_token.h"

#include <algorithm>

#include "Common_CPP/access_token/native_token.h"

const CkxAccessToken* CkxAccessToken::FromHandle(void* token) {
  const auto value = reinterpret_cast<intptr_t>(token);
  if (value <= 0 || (value & 1) == 0) return nullptr;
  return reinterpret_cast<const CkxAccessToken*>(static_cast<const unsigned char*>(token) - 1);
}

std::optional<CkxSid> KxToken_User(void* token) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  return facts != nullptr ? facts->User() : KxNativeToken_User(token);
}

bool KxToken_IsMember(void* token, const CkxSid& sid) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  if (facts == nullptr) return KxNativeToken_IsMember(token, sid);
  const auto isSid = [&](const CkxSid& other) { return sid.Equals(other); };
  return isSid(facts->User()) || std::any_of(facts->Groups().begin(), facts->Groups().end(), isSid);
}

bool KxToken_IsAdministrator(void* token, bool* opened) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  bool known = facts != nullptr;
  const bool administrator = known ? facts->IsAdministrator() : KxNativeToken_IsAdministrator(token, known);
  if (opened != nullptr) *opened = known;
  return administrator;
}
