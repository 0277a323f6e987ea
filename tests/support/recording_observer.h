// What an evaluation told whoever watches, as lines: "check NAME: EXPECTED / ACTUAL", "target TYPE matched", ...
#pragma once

#include <kx_util/evaluation_observer.h>

#include <vector>

#include "Common_CPP/util/text.h"

class CkxRecordingObserver : public IkxEvaluationObserver {
 public:
  void OnCheckFailed(const char* property, CkxTextView expected, CkxTextView actual) override {
    lines.push_back(std::string("check ") + property + ": " + KxText_ToUtf8(expected) + " / " + KxText_ToUtf8(actual));
  }
  void OnTarget(const SkxObservedTarget& target, bool matched) override {
    lines.push_back("target " + std::to_string(static_cast<uint32_t>(target.type)) + " " +
                    std::to_string(target.id.Data1) + (matched ? " matched" : " did not match"));
  }
  void OnPolicy(const SkxObservedPolicy& policy, EkxPolicyOutcome outcome) override {
    lines.push_back("policy " + std::to_string(policy.id) + " " + KxUtil_PolicyOutcomeText(outcome));
  }
  bool WantsSteps() const override { return wantsSteps; }
  void OnFault(std::string_view line) override { lines.push_back("fault " + std::string(line)); }

  bool wantsSteps = true;
  std::vector<std::string> lines;
};
