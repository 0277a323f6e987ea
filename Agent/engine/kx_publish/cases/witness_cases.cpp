#include "Agent/engine/kx_publish/cases/witness_cases.h"

#include "Agent/engine/kx_publish/model/policy_kinds.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

using nlohmann::ordered_json;

constexpr const char* kBeginning =
    "// What each policy decides, by the smallest target that it does: made from the policies, so that their next "
    "change\n"
    "// shows. Say in the names what is meant, and add the targets that policies are to leave alone.\n"
    "{\n"
    "  \"cases\": [";

/// What does not show, or turns how the rest is read, is spelt out.
std::string Dumped(const ordered_json& json) {
  const auto dumped = [&](bool inAscii) { return json.dump(-1, ' ', inAscii, ordered_json::error_handler_t::replace); };
  std::string text = dumped(false);
  return KxText_Printable(text) == text ? text : dumped(true);
}

/// As one comment, whatever is in it.
std::string CaseComment(const std::string& line) { return "\n    // " + KxText_Printable(line); }

}  // namespace

CkxWitnessCases::CkxWitnessCases(const CkxWitnesses& witnesses) : _witnesses(witnesses) {
  for (const SkxImageRecord<SkxPolicyModel>& record : witnesses.Policies()) {
    if (record.model) ++_policiesOfName[KxText_ToUtf8(record.model->name)];
  }
}

void CkxWitnessCases::Add(size_t policy, const SkxWitness& witness) {
  if (witness.found != EkxWitness::Found) {
    std::string why = witness.why.empty() ? "" : ": " + witness.why;
    for (const size_t taker : witness.takers) why += (why.empty() ? ", by " : ", ") + _witnesses.PolicyText(taker);
    _blocks.push_back({CaseComment(_witnesses.PolicyText(policy) + ": " + KxWitness_Word(witness.found) + why), false});
    return;
  }
  ++_count;
  const std::string name = witness.policyName.empty() ? _witnesses.PolicyText(policy) : witness.policyName;
  _blocks.push_back({"\n    {\n      \"name\": " + Dumped(name) + ",\n      \"target\": " + Dumped(witness.document) +
                         ",\n      \"expect\": " + Dumped(Expectation(policy, witness)) + "\n    }",
                     true});
}

/// The policy by its name, which outlives its id, where that is its own.
ordered_json CkxWitnessCases::Expectation(size_t policy, const SkxWitness& witness) const {
  const EkxPolicyAction action = _witnesses.Policies()[policy].model->action;
  ordered_json expected = {{"action", KxKind_Find(kKxPolicyKinds, &SkxPolicyKind::action, action)->key}};
  if (!witness.policyName.empty() && _policiesOfName.at(witness.policyName) == 1) {
    expected["policy"] = witness.policyName;
  } else {
    expected["policy"] = witness.policyId;
  }
  return expected;
}

std::string CkxWitnessCases::Text() const {
  std::string text = kBeginning;
  size_t written = 0;
  for (const Block& block : _blocks) {
    text += block.text;
    if (block.isCase && ++written != _count) text += ',';
  }
  return text + "\n  ]\n}\n";
}
