#include "Agent/engine/kx_publish/import/rule_order.h"

#include <algorithm>

#include "Agent/engine/kx_publish/import/file_condition.h"

namespace {

using KxRules = std::vector<SkxImportedRule*>;

/// Exceptions are compared with all conditions; past this many comparisons nothing is certain any more.
constexpr size_t kMaxComparisons = 1'000'000;
constexpr size_t kMaxLeftToOthers = 4096;  // conditions that exceptions of one rule leave to others

bool IsForUsersOf(const SkxImportedRule& outer, const SkxImportedRule& inner) {
  return !outer.user || (inner.user && inner.user->Equals(*outer.user));
}

bool IsExpressed(const SkxImportedRule& rule) {
  return rule.status != EkxImportStatus::NotExpressed && !rule.conditions.empty();
}

class CkxRuleOrder {
 public:
  explicit CkxRuleOrder(SkxImportedSet& set) : _set(set) {}

  std::vector<SkxOrderedPolicy> Policies() {
    if (_set.rules.empty()) return {};
    for (SkxImportedRule* const rule : InOrder(false)) Deny(*rule);
    for (SkxImportedRule* const rule : InOrder(true)) Allow(*rule);
    _policies.push_back({false, SkxOrderedPolicy::Part::Default, nullptr, std::nullopt, {}});
    return std::move(_policies);
  }

 private:
  /// Those without exceptions first, the others such that no exception is about a rule behind it.
  KxRules InOrder(bool isAllow) {
    KxRules ordered;
    KxRules left;
    for (SkxImportedRule& rule : _set.rules) {
      if (rule.isAllow == isAllow && IsExpressed(rule)) {
        (rule.exceptions.empty() ? ordered : left).push_back(&rule);
      }
    }
    KxRules givenUp;
    while (!left.empty()) {
      const auto next = std::find_if(left.begin(), left.end(), [&](const SkxImportedRule* rule) {
        return std::none_of(left.begin(), left.end(), [&](const SkxImportedRule* other) {
          return other != rule && ConcernsExceptionOf(*rule, *other);
        });
      });
      if (next != left.end()) {
        ordered.push_back(*next);
        left.erase(next);
        continue;
      }
      const size_t count = IsSpent() ? left.size() : 1;
      givenUp.insert(givenUp.end(), left.begin(), left.begin() + static_cast<std::ptrdiff_t>(count));
      left.erase(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(count));
    }
    for (SkxImportedRule* const rule : givenUp) GiveUpOrder(*rule);
    if (!isAllow) ordered.insert(ordered.begin(), givenUp.begin(), givenUp.end());
    return ordered;
  }

  /// Whether `other` may decide about an exception of `rule`.
  bool ConcernsExceptionOf(const SkxImportedRule& rule, const SkxImportedRule& other) {
    return std::any_of(rule.exceptions.begin(), rule.exceptions.end(),
                       [&](const SkxFileCondition& exception) { return Concerns(exception, other); });
  }
  bool Concerns(const SkxFileCondition& exception, const SkxImportedRule& other) {
    const auto covers = [&](const SkxFileCondition& outer) { return Covers(outer, exception); };
    if (std::any_of(other.exceptions.begin(), other.exceptions.end(), covers)) return false;
    return std::any_of(other.conditions.begin(), other.conditions.end(),
                       [&](const SkxFileCondition& condition) { return MayMeet(exception, condition); });
  }

  /// In a ring of rules that each would have to come behind another.
  static void GiveUpOrder(SkxImportedRule& rule) {
    if (rule.isAllow) {
      rule.Say(EkxImportStatus::NotExpressed,
               "its exceptions and another rule's conditions concern each other, which no order can say");
    } else {
      rule.exceptions.clear();
      rule.Say(EkxImportStatus::Approximate,
               "its exceptions and another rule's concern each other, which no order can say: they are denied too");
    }
  }

  void Deny(SkxImportedRule& rule) {
    for (const SkxFileCondition& exception : rule.exceptions) LeaveToOthers(rule, exception);
    _policies.push_back({false, SkxOrderedPolicy::Part::Rule, &rule, rule.user, rule.conditions});
  }

  void Allow(SkxImportedRule& rule) {
    if (!rule.exceptions.empty()) {
      _policies.push_back({false, SkxOrderedPolicy::Part::Exceptions, &rule, rule.user, rule.exceptions});
    }
    _policies.push_back({true, SkxOrderedPolicy::Part::Rule, &rule, rule.user, rule.conditions});
  }

  /// What a deny rule does not deny is allowed if an allow rule says so. By default it is denied anyway.
  void LeaveToOthers(SkxImportedRule& rule, const SkxFileCondition& exception) {
    if (IsSpent()) {
      rule.Say(EkxImportStatus::Approximate, "there are too many exceptions to compare: they are denied too");
      return;
    }
    for (SkxImportedRule& other : _set.rules) {
      if (!other.isAllow || !IsExpressed(other)) continue;
      KxFileConditions allowed;
      bool isSaid = IsForUsersOf(other, rule) || IsForUsersOf(rule, other);
      for (const SkxFileCondition& condition : other.conditions) {
        if (!MayMeet(exception, condition)) continue;
        std::optional<SkxFileCondition> both = KxFileCondition_Both(exception, condition);
        const bool isExcepted = both && std::any_of(other.exceptions.begin(), other.exceptions.end(),
                                                    [&](const SkxFileCondition& e) { return MayMeet(e, *both); });
        isSaid = isSaid && both && !isExcepted;
        if (isSaid) allowed.push_back(std::move(*both));
      }
      if (allowed.empty() && isSaid) continue;
      if (!isSaid || (_left += allowed.size()) > kMaxLeftToOthers) {
        if (Concerns(exception, other)) {
          rule.Say(EkxImportStatus::Approximate,
                   "an exception is denied too where rule " + other.id + " would allow it, which no order can say");
        }
        continue;
      }
      const std::optional<CkxSid>& user = other.user ? other.user : rule.user;
      _policies.push_back({true, SkxOrderedPolicy::Part::Exceptions, &rule, user, std::move(allowed)});
    }
  }

  bool IsSpent() const { return _comparisons > kMaxComparisons; }
  bool Spend() { return ++_comparisons <= kMaxComparisons; }
  bool Covers(const SkxFileCondition& outer, const SkxFileCondition& inner) {
    return Spend() && KxFileCondition_Covers(outer, inner);
  }
  bool MayMeet(const SkxFileCondition& a, const SkxFileCondition& b) {
    return !Spend() || !KxFileCondition_NeverMeet(a, b);
  }

  SkxImportedSet& _set;
  std::vector<SkxOrderedPolicy> _policies;
  size_t _comparisons = 0;
  size_t _left = 0;
};

}  // namespace

std::vector<SkxOrderedPolicy> KxRuleOrder_Policies(SkxImportedSet& set) { return CkxRuleOrder(set).Policies(); }
