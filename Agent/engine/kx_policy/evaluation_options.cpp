#include "Agent/engine/kx_policy/evaluation_options.h"

#include "Agent/engine/kx_policy/entry.h"

namespace {

EkxExplain ExplainOf(int32_t number) {
  switch (number) {
    case KX_POLICY_EXPLAIN_NONE:
      return EkxExplain::None;
    case KX_POLICY_EXPLAIN_CLOSE:
      return EkxExplain::Close;
    case KX_POLICY_EXPLAIN_ALL:
      return EkxExplain::All;
    default:
      throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, "options: explain is no KX_POLICY_EXPLAIN_...");
  }
}

CkxSid UserOf(const char* text) {
  const std::optional<CkxSid> user = CkxSid::FromUtf8(text);
  if (!user) throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, "options: user \"" + std::string(text) + "\" is no SID");
  return *user;
}

KxDecisionMembers MembersOf(const char* list) {
  try {
    return KxDecisionMembers_Of(list);
  } catch (const CkxDocumentFault& fault) {
    throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, "options: fields: " + fault.Line());
  }
}

}  // namespace

SkxEvaluationOptions SkxEvaluationOptions::Of(const kx_policy_options* given) {
  SkxEvaluationOptions options;
  if (given == nullptr) return options;
  KxPolicyEntry_Require(given->size == sizeof(*given), "options: size is not that of kx_policy_options");
  if (given->user != nullptr) options.user = UserOf(given->user);
  if (given->fields != nullptr) options.members = MembersOf(given->fields);
  options.explain = ExplainOf(given->explain);
  return options;
}
