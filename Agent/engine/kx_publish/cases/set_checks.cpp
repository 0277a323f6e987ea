#include "Agent/engine/kx_publish/cases/set_checks.h"

#include <kx_util/shared_policy_target_users.h>

#include "Agent/engine/kx_publish/record/target_records.h"

namespace {

/// Most properties are one check; that of a name and a hash is up to three.
class SetChecks {
 public:
  template <class Body>
  void AddBody(const Body& body) {
    std::apply([&](const auto&... line) { (AddLine(body, line), ...); }, kKxRecord<Body>.lines);
    if constexpr (std::is_same_v<Body, SkxExcludeTarget>) AddUsers(body.users);
  }

  std::vector<std::string> names;

 private:
  template <class Body, class Struct, class Value, class Stored>
  void AddLine(const Body& body, const SkxMember<Struct, Value, Stored>& line) {
    if constexpr (kKxIsOptional<Value>) {
      if (body.*line.member) Add(line.name, *(body.*line.member));
    }
  }
  template <class Body, class Other>
  void AddLine(const Body& /*body*/, const Other& /*line*/) {}

  template <class Test>
  void Add(const char* name, const Test& /*test*/) {
    names.emplace_back(name);
  }
  void Add(const char* name, const SkxFileNameTest& test) {
    const bool isAnyName = test.pattern == KXW("*") && !test.hash.empty();
    if (!isAnyName) names.emplace_back(name);
    if (test.hash.empty()) return;
    if (test.fileSize != -1) names.emplace_back("fileSize");
    names.emplace_back("hash");
  }

  /// Of programs they are carried, and nobody asks for them.
  void AddUsers(const KxWString& users) {
    if (!users.empty() && users != CkxShBufTargetUsers::kNoUsers) names.emplace_back("users");
  }
};

}  // namespace

std::vector<std::string> KxTarget_SetChecks(const SkxTargetModel& target) {
  SetChecks checks;
  std::visit([&](const auto& body) { checks.AddBody(body); }, target.body);
  return std::move(checks.names);
}
