// witness: for each policy the smallest target document that it decides, or why there is none.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/witness/witness.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;

struct WitnessOptions {
  std::vector<std::string> policies;
  std::optional<uint32_t> policy;
  std::string format = "text";
};

std::string WitnessLine(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string WitnessText(const CkxWitnesses& witnesses, size_t policy, const SkxWitness& witness) {
  std::string text = witnesses.PolicyText(policy) + ": ";
  switch (witness.found) {
    case EkxWitness::Found:
      return text + WitnessLine(witness.document);
    case EkxWitness::TakenBefore:
      text += "taken before, by ";
      for (const size_t taker : witness.takers) {
        text += (taker == *witness.takers.begin() ? "" : ", ") + witnesses.PolicyText(taker);
      }
      return text + ": " + WitnessLine(witness.document);
    case EkxWitness::NotBuilt:
      return text + "not built: " + witness.why;
    case EkxWitness::NoPart:
      break;
  }
  return text + "takes no part: " + witness.why;
}

ordered_json WitnessJson(const CkxWitnesses& witnesses, const SkxWitness& witness) {
  ordered_json json = {
      {"policyId", witness.policyId}, {"policyName", witness.policyName}, {"witness", KxWitness_Word(witness.found)}};
  if (!witness.document.is_null()) json["target"] = witness.document;
  for (const size_t taker : witness.takers) {
    json["takers"].push_back(KxImage_PolicyId(witnesses.Policies()[taker].bytes));
  }
  if (!witness.why.empty()) json["why"] = witness.why;
  return json;
}

EkxExit Witness(const WitnessOptions& options, SkxStreams& streams) {
  const CkxPolicySet set = KxPolicyInput_Open(options.policies, streams.in);
  const CkxWitnesses witnesses(set.Image(), set.Applicable());
  size_t told = 0;
  for (size_t i = 0; i < witnesses.Policies().size(); ++i) {
    if (options.policy && *options.policy != KxImage_PolicyId(witnesses.Policies()[i].bytes)) continue;
    const SkxWitness witness = witnesses.Of(i);
    streams.out << (options.format == "json" ? WitnessLine(WitnessJson(witnesses, witness))
                                             : KxText_Printable(WitnessText(witnesses, i, witness)))
                << '\n';
    KxTool_RequireOutput(streams);
    ++told;
  }
  if (options.policy && told == 0) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       set.PlaceOf("policies.sec") + ": has no policy " + std::to_string(*options.policy));
  }
  KxPolicyInput_TellFaults(set, witnesses.Faults(), streams.err);
  return witnesses.Faults().empty() ? EkxExit::Done : EkxExit::UnusableInput;
}

}  // namespace

KxVerbAction KxVerb_Witness(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<WitnessOptions>();
  verb.Add("policies", options->policies, kKxPolicyInputHelp).Path().Required();
  verb.Add("--policy", options->policy, "Only of the policy of this id");
  verb.Add("--format", options->format, "text, or json (one object a line)").OneOf({"text", "json"});
  return [options](SkxStreams& streams) { return Witness(*options, streams); };
}
