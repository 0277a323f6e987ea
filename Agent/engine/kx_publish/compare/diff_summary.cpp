#include "Agent/engine/kx_publish/compare/diff_summary.h"

#include <algorithm>

#include "Agent/engine/kx_publish/decision/summary_count.h"
#include "Agent/engine/kx_publish/document/json_reader.h"
#include "Common_CPP/util/counted.h"
#include "Common_CPP/util/printable.h"

using nlohmann::ordered_json;

void CkxDiffSummary::Add(const CkxDecisionChanges& changes, const std::string& file, uint64_t unusable) {
  _asked += changes.Asked();
  _differ += changes.Differing();
  _unusable += unusable;
  for (const SkxDecisionChange& change : changes.Changes()) {
    Change& kept = Of(change.was, change.is);
    kept.count += change.count;
    for (const SkxDecisionChange::Example& example : change.examples) {
      Keep(kept, {file, example.number, example.name});
    }
  }
}

void CkxDiffSummary::Add(const nlohmann::json& summary) {
  CkxJsonObject object(summary, "");
  KxSummary_AddCount(object, "asked", _asked);
  KxSummary_AddCount(object, "differ", _differ);
  KxSummary_AddCount(object, "unusable", _unusable);
  if (object.Required<uint64_t>("differ") > object.Required<uint64_t>("asked")) {
    throw CkxDocumentFault("/differ", "is more than were asked");
  }
  uint64_t counted = _differ - object.Required<uint64_t>("differ");  // before

  const nlohmann::json* const changes = object.Find("changes");
  if (changes == nullptr || !changes->is_array()) throw CkxDocumentFault("/changes", "must be an array");
  for (size_t i = 0; i < changes->size(); ++i) {
    CkxJsonObject change((*changes)[i], KxJson_Pointer("/changes", i));
    KxSummary_AddCount(change, "count", counted);
    AddChange(change);
    change.Finish();
  }
  if (counted != _differ) throw CkxDocumentFault("/differ", "is not the sum of the changes");
  object.Finish();
}

void CkxDiffSummary::AddChange(CkxJsonObject& change) {
  const auto side = [&](const char* key) {
    const nlohmann::json* const json = change.Find(key);
    return json == nullptr || json->is_null() ? KxDecided() : KxDecided_Read(*json, change.PointerTo(key));
  };
  Change& kept = Of(side("was"), side("is"));
  KxSummary_AddCount(change, "count", kept.count);
  const nlohmann::json* const examples = change.Find("examples");
  if (examples == nullptr || !examples->is_array()) {
    throw CkxDocumentFault(change.PointerTo("examples"), "must be an array");
  }
  for (size_t i = 0; i < examples->size(); ++i) {
    CkxJsonObject example((*examples)[i], KxJson_Pointer(change.PointerTo("examples"), i));
    const nlohmann::json* const name = example.Find("name");  // an id, in which anything may stand
    if (name == nullptr || !name->is_string()) throw CkxDocumentFault(example.PointerTo("name"), "must be a text");
    Keep(kept, {example.Required<std::string>("file"), example.Required<uint64_t>("line"), *name});
    example.Finish();
  }
}

CkxDiffSummary::Change& CkxDiffSummary::Of(const KxDecided& was, const KxDecided& is) {
  const auto textOf = [](const KxDecided& side) {
    return side.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  };
  std::string sides = textOf(was) + "\n" + textOf(is);
  const bool isRest = was.is_null() || is.is_null() ||
                      (_changes.size() >= CkxDecisionChanges::kMaxChanges && _changes.find(sides) == _changes.end());
  const auto [place, isNew] = _changes.try_emplace(isRest ? "" : std::move(sides));
  if (isNew && !isRest) {
    place->second.was = was;
    place->second.is = is;
  }
  return place->second;
}

void CkxDiffSummary::Keep(Change& change, Example example) {
  change.examples.insert(std::move(example));
  if (change.examples.size() > SkxDecisionChange::kMaxExamples) change.examples.erase(std::prev(change.examples.end()));
}

std::vector<const CkxDiffSummary::Change*> CkxDiffSummary::ByCount() const {
  std::vector<const Change*> changes;
  for (const auto& [sides, change] : _changes) changes.push_back(&change);
  std::stable_sort(changes.begin(), changes.end(),
                   [](const Change* a, const Change* b) { return a->count > b->count; });
  return changes;
}

ordered_json CkxDiffSummary::ToJson() const {
  ordered_json changes = ordered_json::array();
  for (const Change* const change : ByCount()) {
    ordered_json examples = ordered_json::array();
    for (const auto& [file, line, name] : change->examples) {
      examples.push_back({{"file", file}, {"line", line}, {"name", name}});
    }
    changes.push_back(
        {{"count", change->count}, {"was", change->was}, {"is", change->is}, {"examples", std::move(examples)}});
  }
  return {{"asked", _asked}, {"differ", _differ}, {"unusable", _unusable}, {"changes", std::move(changes)}};
}

std::string CkxDiffSummary::ToText() const {
  std::string text = std::to_string(_differ) + " of " + std::to_string(_asked) + " decisions differ";
  if (_unusable != 0) text += ", " + KxCounted(_unusable, "line is no target", "lines are no targets");
  text += "\n";
  for (const Change* const change : ByCount()) {
    text += KxSummary_Column(change->count) + "  " + KxDecided_Text(change->was) + " -> " + KxDecided_Text(change->is) +
            "\n";
    for (const auto& [file, line, name] : change->examples) {
      std::string example = "              ";
      example.append(file).append(":").append(std::to_string(line)).append("  ").append(name);
      text += KxText_Printable(example) + "\n";
    }
  }
  return text;
}
