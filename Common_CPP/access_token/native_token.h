// The system's side of a token: any that `CkxAccessToken::FromHandle` does not know. Private to this folder; one file a
// platform.
#pragma once

#include "Common_CPP/access_token/access_token.h"

std::optional<CkxSid> KxNativeToken_User(void* token);
std::optional<std::vector<CkxSid>> KxNativeToken_Groups(void* token);
std::optional<std::vector<CkxSid>> KxNativeToken_DenyOnlyGroups(void* token);
bool KxNativeToken_IsMember(void* token, const CkxSid& sid);
std::optional<uint32_t> KxNativeToken_Session(void* token);
bool KxNativeToken_IsAdministrator(void* token, bool& opened);
