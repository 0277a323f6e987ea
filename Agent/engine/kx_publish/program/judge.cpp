#include <kx_publish/judge.h>

#include "Agent/engine/kx_publish/decision/decision.h"
#include "Agent/engine/kx_publish/decision/fault_answer.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Agent/engine/kx_publish/image/policy_set.h"
#include "Agent/engine/kx_publish/program/target_content.h"

struct CkxJudge::Content {
  Content(const CkxPolicySet& set, EkxPrepare prepare) : judge(set.Image(), prepare), names(set.Names()) {}

  SkxDecisionWish Wish(EkxExplain explain) const { return {explain, &names}; }

  const CkxImageJudge judge;
  const CkxAuthorNames names;
};

CkxJudge::CkxJudge(const CkxPolicies& policies, EkxPrepare prepare)
    : _content(std::make_unique<const Content>(*policies._set, prepare)) {}
CkxJudge::CkxJudge(CkxJudge&&) noexcept = default;
CkxJudge& CkxJudge::operator=(CkxJudge&&) noexcept = default;
CkxJudge::~CkxJudge() = default;

SkxDecision CkxJudge::Decide(const CkxTarget& target, EkxExplain explain) const {
  const CkxTarget::Content& what = *target._content;
  if (what.document) return KxDecision_OfDocument(*what.document, _content->Wish(explain), _content->judge);
  SkxDecision decision = Decide(*what.live, explain);
  decision.idJson = what.idJson;
  return decision;
}

SkxDecision CkxJudge::Decide(const CkxTargetInfo& target, EkxExplain explain) const {
  return KxDecision_Of(target, _content->Wish(explain), _content->judge);
}

std::string CkxJudge::Answer(std::string_view document, EkxExplain explain) const {
  try {
    const CkxTargetDocument target = CkxTargetDocument::Parse(document);
    return KxDecision_ToJson(KxDecision_OfDocument(target, _content->Wish(explain), _content->judge));
  } catch (const CkxDocumentFault& fault) {
    return KxFaultAnswer_Of(std::string(document), fault.Line());
  }
}
