#include "Common_CPP/access_token/access_token.h"

#include <algorithm>
#include <bit>

#include "Common_CPP/access_token/native_token.h"

namespace {

constexpr unsigned kMarkShift = 62;
constexpr uint64_t kMark = 1;
static_assert(sizeof(void*) == sizeof(kMark), "an address has no use for its two highest bits");

}  // namespace

void* CkxAccessToken::Handle() { return std::bit_cast<void*>(std::bit_cast<uint64_t>(this) | kMark << kMarkShift); }

const CkxAccessToken* CkxAccessToken::FromHandle(void* token) {
  const auto value = std::bit_cast<uint64_t>(token);
  if (value >> kMarkShift != kMark) return nullptr;
  return std::bit_cast<const CkxAccessToken*>(value & ~(kMark << kMarkShift));
}

std::unique_ptr<CkxAccessToken> CkxAccessToken::Duplicate() const {
  auto duplicate = std::make_unique<CkxAccessToken>(_user, _groups, _administrator, _denyOnly);
  for (SkxTokenAttribute& attribute : _attributes.List()) duplicate->_attributes.Set(std::move(attribute));
  return duplicate;
}

std::unique_ptr<CkxAccessToken> CkxAccessToken::OfNewProcess() const {
  auto token = Duplicate();
  for (const SkxTokenAttribute& attribute : _attributes.List()) {
    if ((attribute.flags & KxTokenNonInheritable) != 0) token->_attributes.Delete(attribute.name);
  }
  return token;
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

std::optional<std::vector<CkxSid>> KxToken_Groups(void* token) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  return facts != nullptr ? facts->Groups() : KxNativeToken_Groups(token);
}

std::optional<std::vector<CkxSid>> KxToken_DenyOnlyGroups(void* token) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  return facts != nullptr ? facts->DenyOnlyGroups() : KxNativeToken_DenyOnlyGroups(token);
}

std::optional<uint32_t> KxToken_Session(void* token) {
  return CkxAccessToken::FromHandle(token) != nullptr ? std::nullopt : KxNativeToken_Session(token);
}

bool KxToken_IsAdministrator(void* token, bool* opened) {
  const CkxAccessToken* facts = CkxAccessToken::FromHandle(token);
  bool known = facts != nullptr;
  const bool administrator = known ? facts->IsAdministrator() : KxNativeToken_IsAdministrator(token, known);
  if (opened != nullptr) *opened = known;
  return administrator;
}
