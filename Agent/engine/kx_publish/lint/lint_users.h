// For whom the policies of a publication are, and for whom others are besides. For lint_reach.cpp.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// The rows of the applicable rules that a policy is in, in ascending order; "*" is one of them. Without any rules all
/// policies are for everybody, which is one set like any other.
class CkxPolicyUsers {
 public:
  /// Of policies that are for the same users.
  using Set = size_t;

  /// `rules`: the text of an image's applicable rules, where there are some. `ids`: of all its policies.
  CkxPolicyUsers(const std::optional<std::string>& rules, const std::vector<uint32_t>& ids);

  Set Of(uint32_t id) const { return _setOf.at(id); }
  bool IsForNobody(uint32_t id) const { return !_isForEverybody && Rows(Of(id)).empty(); }

  /// The sets that have all users of `set`, itself among them.
  const std::vector<Set>& Including(Set set);

 private:
  using RowNumbers = std::vector<uint32_t>;

  const RowNumbers& Rows(Set set) const { return _sets[set]->first; }

  bool _isForEverybody = true;
  std::map<uint32_t, Set> _setOf;  // by policy id
  std::map<RowNumbers, Set> _numbers;
  std::vector<std::map<RowNumbers, Set>::const_iterator> _sets;
  std::vector<std::vector<Set>> _including;  // empty: not asked for yet
};
