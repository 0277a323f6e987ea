// On whose behalf a question is asked.
//
// A token is the caller's `void*`, null meaning the caller's own. On Windows it is the system's token handle, or a
// process handle that stands for the token of that process; elsewhere, and for recorded facts on every platform, it is
// a `CkxAccessToken` made here. The two cannot be mixed up: of the two highest bits, what `CkxAccessToken::Handle`
// gives out has the lower one alone set, which no address of a program has, and no handle: that is a number of 32 bits,
// of which the lowest two are the caller's, or negative (the system's pseudo handles).
#pragma once

#include <memory>
#include <vector>

#include "Common_CPP/access_token/token_attribute.h"
#include "Common_CPP/security/sid.h"

/// A token made from facts: a recorded user, or (where the system has no tokens) the user of a process. The handle
/// lives as long as the object.
class CkxAccessToken {
 public:
  /// `denyOnly`: groups that count only where they are refused something, as an administrator's do until it is asked.
  CkxAccessToken(CkxSid user, std::vector<CkxSid> groups, bool administrator, std::vector<CkxSid> denyOnly = {})
      : _user(user), _groups(std::move(groups)), _denyOnly(std::move(denyOnly)), _administrator(administrator) {}
  CkxAccessToken(const CkxAccessToken&) = delete;
  CkxAccessToken& operator=(const CkxAccessToken&) = delete;

  void* Handle();

  /// The object behind a handle that `Handle` gave out; null for any other token.
  static const CkxAccessToken* FromHandle(void* token);

  const CkxSid& User() const { return _user; }
  const std::vector<CkxSid>& Groups() const { return _groups; }
  const std::vector<CkxSid>& DenyOnlyGroups() const { return _denyOnly; }
  bool IsAdministrator() const { return _administrator; }

  /// What others have marked the token with: no fact, so that it may change while the token is in use.
  CkxTokenAttributes& Attributes() const { return _attributes; }

  /// The same user with the same attributes, from then on apart; and the token of a process that is started with this
  /// one, which lacks those that are not inherited.
  std::unique_ptr<CkxAccessToken> Duplicate() const;
  std::unique_ptr<CkxAccessToken> OfNewProcess() const;

 private:
  const CkxSid _user;
  const std::vector<CkxSid> _groups;
  const std::vector<CkxSid> _denyOnly;
  const bool _administrator;
  mutable CkxTokenAttributes _attributes;
};

/// The user of `token`; with null the thread's token, or the process's when the thread has none. Nothing on failure.
std::optional<CkxSid> KxToken_User(void* token);

/// Whether the user or an enabled group of `token` is `sid`.
bool KxToken_IsMember(void* token, const CkxSid& sid);

/// The enabled groups of `token`. Nothing when they cannot be told: that is not the same as none.
std::optional<std::vector<CkxSid>> KxToken_Groups(void* token);

/// Those of its groups that only what refuses them sees.
std::optional<std::vector<CkxSid>> KxToken_DenyOnlyGroups(void* token);

/// An administrator: enabled membership of S-1-5-32-544, or a limited token whose linked token has it. False when the
/// token cannot be opened; `opened`, when given, tells that apart.
bool KxToken_IsAdministrator(void* token, bool* opened = nullptr);

/// The logon session that the token's user is in: on Windows one of those of the desktop, elsewhere that of a login. 0
/// is that of services. Nothing for a token made from facts, and on failure.
std::optional<uint32_t> KxToken_Session(void* token);

/// Runs the calling thread as `token` for the scope's life and then as it was before, on every way out. A null token, a
/// token made from facts and one that cannot be impersonated leave the thread as it is.
class CkxImpersonationScope {
 public:
  explicit CkxImpersonationScope(void* token);
  ~CkxImpersonationScope();
  CkxImpersonationScope(const CkxImpersonationScope&) = delete;
  CkxImpersonationScope& operator=(const CkxImpersonationScope&) = delete;

 private:
  [[maybe_unused]] void* _previous = nullptr;  // the thread's own token before, where it had one
  [[maybe_unused]] bool _active = false;
};
