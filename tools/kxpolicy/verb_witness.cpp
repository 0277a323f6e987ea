// witness: for each policy the smallest target document that it decides, or why there is none.
#include <nlohmann/json.hpp>
#include <ostream>

#include "Agent/engine/kx_publish/cases/witness_cases.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"
#include "tools/kxpolicy/output.h"
#include "tools/kxpolicy/policy_input.h"
#include "tools/kxpolicy/tool.h"

namespace {

using nlohmann::ordered_json;

struct WitnessOptions {
  std::vector<std::string> policies;
  std::optional<uint32_t> policy;
  bool cases = false;
  std::string output = "-";
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

/// Calls `tell(index, witness)` for each policy that is asked about, as soon as its witness is there.
template <class Tell>
void ForEachWitness(const WitnessOptions& options, const CkxPolicySet& set, const CkxWitnesses& witnesses, Tell tell) {
  size_t told = 0;
  for (size_t i = 0; i < witnesses.Policies().size(); ++i) {
    if (options.policy && *options.policy != KxImage_PolicyId(witnesses.Policies()[i].bytes)) continue;
    tell(i, witnesses.Of(i));
    ++told;
  }
  if (options.policy && told == 0) {
    throw CkxToolFault(EkxExit::UnusableInput,
                       set.PlaceOf("policies.sec") + ": has no policy " + std::to_string(*options.policy));
  }
}

EkxExit Witness(const WitnessOptions& options, SkxStreams& streams) {
  KxOutput_CheckPlace(options.output, options.policies);
  const CkxPolicySet set = KxPolicyInput_Open(options.policies, streams.in);
  const CkxWitnesses witnesses(set.Image(), set.Applicable());
  if (options.cases) {
    CkxWitnessCases cases(witnesses);
    ForEachWitness(options, set, witnesses,
                   [&](size_t policy, const SkxWitness& witness) { cases.Add(policy, witness); });
    if (cases.Count() == 0) {
      throw CkxToolFault(EkxExit::UnusableInput, set.PlaceOf("policies.sec") +
                                                     ": nothing is found that a policy decides, so there are no cases");
    }
    KxOutput_Write(options.output, cases.Text(), streams);
    KxOutput_Tell(options.output, KxCounted(cases.Count(), "case", "cases"), streams);
  } else {
    ForEachWitness(options, set, witnesses, [&](size_t policy, const SkxWitness& witness) {
      streams.out << (options.format == "json" ? WitnessLine(WitnessJson(witnesses, witness))
                                               : KxText_Printable(WitnessText(witnesses, policy, witness)))
                  << '\n';
      KxTool_RequireOutput(streams);
    });
  }
  KxPolicyInput_TellFaults(set, witnesses.Faults(), streams.err);
  return witnesses.Faults().empty() ? EkxExit::Done : EkxExit::UnusableInput;
}

}  // namespace

KxVerbAction KxVerb_Witness(const CkxVerbOptions& verb) {
  const auto options = std::make_shared<WitnessOptions>();
  verb.Add("policies", options->policies, kKxPolicyInputHelp).Path().Required();
  verb.Add("--policy", options->policy, "Only of the policy of this id");
  const CkxOption cases = verb.AddFlag("--cases", options->cases,
                                       "A case file in place of a list: what each policy decides, and that it does");
  verb.Add("-o,--output", options->output,
           "Where the cases go, written whole or not at all; standard output without it")
      .Needs(cases)
      .Path();
  verb.Add("--format", options->format, "text, or json (one object a line)").OneOf({"text", "json"});
  verb.Footer("Example: kxpolicy witness policies.jsonc --cases -o cases.jsonc");
  return [options](SkxStreams& streams) { return Witness(*options, streams); };
}
