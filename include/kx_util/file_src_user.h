// On whose behalf a process had its part in bringing a file.
#pragma once

#include "Common_CPP/security/sid.h"

#include <vector>

namespace tinyxml2 {
class XMLElement;
}

/// What a record has of a user. What is absent is not known.
struct SkxFileSrcUserFacts {
  std::optional<CkxSid> sid;
  bool byKX = false;     ///< the agent itself acted
  bool limited = false;  ///< no administrator
  std::vector<CkxSid> groups;
};

/// The user that a process of a record ran for.
class KX_UTIL_API CkxFileSrcUser {
 public:
  CkxFileSrcUser() = default;
  explicit CkxFileSrcUser(SkxFileSrcUserFacts facts) : _facts(std::move(facts)) {}

  /// The user of `token` with the groups that count for it. False, with nothing changed, where the token does not tell,
  /// or is nobody's.
  bool Fill(void* token, bool byKX = false);

  const SkxFileSrcUserFacts& Facts() const { return _facts; }
  SkxFileSrcUserFacts& Facts() { return _facts; }

  /// Whether the user is `sid`, or one of a group that is.
  bool IsOrBelongsTo(const CkxSid& sid) const;

  /// For people: the SID; "NT AUTHORITY\SYSTEM" for the system itself.
  KxWString DisplayName() const;

  /// Adds the element "User". False when memory is short.
  bool ToXml(tinyxml2::XMLElement& parent) const;
  bool FromXml(const tinyxml2::XMLElement& user);

 private:
  SkxFileSrcUserFacts _facts;
};
