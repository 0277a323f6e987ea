// What an imported policy decides: the XML is imported, its document compiled, and the image asked.
#pragma once

#include <gtest/gtest.h>
#include <kx_util/shared_policies_data.h>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/document/target_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"
#include "Agent/engine/kx_publish/image/image_source.h"
#include "Agent/engine/kx_publish/import/import.h"

class CkxTestImported {
 public:
  /// A fault is a failure of the test.
  CkxTestImported(EkxImportKind kind, const std::vector<SkxImportFile>& files) {
    std::string fault;
    EXPECT_TRUE(KxImport(kind, files, {}, result, fault)) << fault;
    const SkxDocumentText document = {"imported", result.document};
    SkxDocumentError error;
    EXPECT_TRUE(KxPolicyDocument_Read({&document, 1}, publication, error)) << error.Text();
    _source = std::make_unique<CkxImageSource>(KxEncode_Image(publication));
  }
  CkxTestImported(EkxImportKind kind, const std::string& xml)
      : CkxTestImported(kind, std::vector<SkxImportFile>{{"a.xml", xml}}) {}

  /// "run", "block", "log", or "-" where no policy applies.
  std::string Decide(const std::string& target) const {
    const CkxPolicySourceScope scope(*_source);
    const CkxTargetDocument document = CkxTargetDocument::Parse(target);
    const CkxMachineFactsScope machine(document.Machine());
    SkxTriggerPolicyShortInfo info;
    EkxEvaluationOutcome outcome;
    const bool matched = CkxSharedPoliciesData::GetTargetPolicyAction(document.Target(), info, outcome);
    EXPECT_NE(outcome, EkxEvaluationOutcome::NotAnswered) << target;
    if (!matched) return "-";
    const EkxPolicyAction action = info.PolicyAction;
    return action == EkxPolicyAction::Run                   ? "run"
           : action == EkxPolicyAction::Block               ? "block"
           : action == EkxPolicyAction::RunAndCollectEvents ? "log"
                                                            : "?";
  }

  /// The rule with that identifier; a failure, and an empty rule, when there is none.
  const SkxImportedRule& Rule(const std::string& id) const {
    for (const SkxImportedSet& set : result.policy.sets) {
      for (const SkxImportedRule& rule : set.rules) {
        if (rule.id == id) return rule;
      }
    }
    ADD_FAILURE() << "no rule " << id;
    static const SkxImportedRule kNone;
    return kNone;
  }

  SkxImportResult result;
  SkxPublication publication;

 private:
  std::unique_ptr<CkxImageSource> _source;
};

/// A row of a table of decisions: what is asked about as JSON without its braces, and the decision.
struct SkxTestDecision {
  const char* target;
  const char* decision;
};

template <class Rows>
void KxTest_ExpectDecisions(const CkxTestImported& imported, const Rows& rows) {
  for (const SkxTestDecision& row : rows) {
    EXPECT_EQ(imported.Decide("{" + std::string(row.target) + "}"), row.decision) << row.target;
  }
}
