// Which decisions differ between two publications, counted: what was decided, what is decided now, how often, and a few
// of those whom it concerns. Of any number of targets in constant memory.
//
//   CkxDecisionChanges changes(was, is);
//   changes.Ask(document, "C:\\Tools\\a.exe", 17);
//
// Two decisions differ when another policy applies, or the same one asks for something else. Which of its targets
// matched is no difference.
#pragma once

#include <map>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/image/image_judge.h"

/// One side of a change: `{"matched":true,"policyId":7,"policyName":"…","action":2,"actionName":"Block"}`, and where
/// both sides are the same so far, what else of it differs.
using KxDecided = nlohmann::ordered_json;

struct SkxDecisionChange {
  struct Example {
    std::string name;
    uint64_t number;  ///< of its line
  };
  static constexpr size_t kMaxExamples = 3;

  KxDecided was;
  KxDecided is;
  uint64_t count = 0;
  std::vector<Example> examples;
};

class CkxDecisionChanges {
 public:
  CkxDecisionChanges(const SkxPolicyImage& was, const SkxPolicyImage& is);

  /// Both sides' decisions about `document` as a text; empty where they do not differ. Counts nothing.
  std::string Sides(const CkxTargetDocument& document) const;

  /// Whether the decisions about `document` differ. `nameOf()` and `number`: as an example is called.
  template <class NameOf>
  bool Ask(const CkxTargetDocument& document, NameOf nameOf, uint64_t number) {
    SkxDecisionChange* const change = Count(document);
    if (change != nullptr && change->examples.size() < SkxDecisionChange::kMaxExamples) {
      change->examples.push_back({nameOf(), number});
    }
    return change != nullptr;
  }

  uint64_t Asked() const { return _asked; }
  uint64_t Differing() const { return _differing; }

  /// The most frequent first. Past so many kinds of changes the rest is one more of them, without sides.
  std::vector<SkxDecisionChange> Changes() const;
  static constexpr size_t kMaxChanges = 4096;

 private:
  using Names = std::map<uint32_t, std::string>;  // of policies

  std::optional<SkxDecisionChange> ChangeOf(const CkxTargetDocument& document) const;
  SkxDecisionChange* Count(const CkxTargetDocument& document);
  static Names NamesOf(const SkxPolicyImage& image);

  const Names _oldNames;
  const Names _newNames;
  const CkxImageJudge _old;
  const CkxImageJudge _new;
  std::map<std::string, SkxDecisionChange> _changes;  // by both sides
  uint64_t _asked = 0;
  uint64_t _differing = 0;
};

/// One that was written as JSON. Throws a `CkxDocumentFault` at `pointer` for what is none.
KxDecided KxDecided_Read(const nlohmann::json& json, const std::string& pointer);

/// "Block 7 Block tools", "no policy", the line of a fault: on one line, whatever the texts are.
std::string KxDecided_Text(const KxDecided& decided);
