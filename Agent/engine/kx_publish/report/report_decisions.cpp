#include "Agent/engine/kx_publish/report/report_decisions.h"

#include <vector>

#include "Common_CPP/util/printable.h"

namespace {

using Json = nlohmann::ordered_json;

/// The first bytes of well-formed UTF-8, up to the limit, cut between characters.
std::string Beginning(const std::string& text) {
  size_t end = CkxReportDecisions::kTextBytes;
  if (text.size() <= end) return text;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

/// Printable, and no longer than the sample can afford: what does not show takes more room once it is spelt out.
std::string Shown(const std::string& text) {
  const std::string printable = KxText_Printable(Beginning(text));
  const std::string shown = Beginning(printable);
  return shown.size() < printable.size() || text.size() > CkxReportDecisions::kTextBytes ? shown + " ... (cut)" : shown;
}

std::string TextAt(const nlohmann::json& object, const char* key) {
  const auto value = object.find(key);
  return value != object.end() && value->is_string() ? value->get<std::string>() : "";
}

std::string TextIn(const nlohmann::json& object, const char* key, const char* inner) {
  const auto part = object.find(key);
  return part != object.end() && part->is_object() ? TextAt(*part, inner) : "";
}

/// As texts in the order of `report.js`: a key a member would be most of what the page holds.
std::string KeyOf(const SkxReportedTarget& target, const SkxReportedDecision& decision) {
  Json key = {Shown(target.name), Shown(target.path), Shown(target.commandLine), Shown(target.user)};
  key.push_back(decision.policy ? Json(*decision.policy) : Json(nullptr));
  key.push_back(decision.action);
  key.push_back(Shown(decision.error));
  return key.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

SkxReportedTarget KxReport_Target(const nlohmann::json& document) {
  SkxReportedTarget target;
  if (const auto id = document.find("id"); id != document.end() && !id->is_null()) {
    target.name = id->is_string() ? id->get<std::string>() : id->dump();
  }
  target.path = TextAt(document, "path");
  if (target.path.empty()) target.path = TextIn(document, "request", "url");
  if (target.path.empty()) target.path = TextAt(document, "classId");
  target.commandLine = TextAt(document, "commandLine");
  target.user = TextIn(document, "user", "sid");
  return target;
}

void CkxReportDecisions::Add(const SkxReportedTarget& target, const SkxReportedDecision& decision) {
  ++_targets;
  if (decision.policy) {
    ++_decided;
    ++_byPolicy[*decision.policy];
  } else if (!decision.error.empty()) {
    ++_unanswered;
  }
  Sample(target, decision);
}

void CkxReportDecisions::Sample(const SkxReportedTarget& target, const SkxReportedDecision& decision) {
  const std::string key = KeyOf(target, decision);
  if (const auto known = _sample.find(key); known != _sample.end()) {
    ++known->second.count;
    return;
  }
  size_t& sampledOfPolicy = _sampledOf[decision.policy];
  if (_sample.size() >= kSampled && sampledOfPolicy >= kSampledOfEach) {
    ++_leftOut;
    return;
  }
  ++sampledOfPolicy;
  _sample.emplace(key, Sampled{1, _sample.size()});
}

void CkxReportDecisions::AddUnusable(size_t line, const std::string& why) {
  if (++_unusable <= kFaultsTold) _faults.push_back({{"line", line}, {"why", Shown(why)}});
}

Json CkxReportDecisions::ToJson() const {
  std::vector<const std::pair<const std::string, Sampled>*> inOrder(_sample.size());
  for (const auto& sampled : _sample) inOrder[sampled.second.place] = &sampled;
  Json sample = Json::array();
  for (const auto* const sampled : inOrder) {
    sample.push_back(Json::parse(sampled->first));
    sample.back().push_back(sampled->second.count);
  }
  Json byPolicy = Json::array();
  for (const auto& [policy, count] : _byPolicy) byPolicy.push_back({policy, count});
  return {{"source", KxText_Printable(_source)},
          {"targets", _targets},
          {"decided", _decided},
          {"unanswered", _unanswered},
          {"undecided", _targets - _decided - _unanswered},
          {"unusable", _unusable},
          {"faults", _faults},
          {"byPolicy", std::move(byPolicy)},
          {"sample", std::move(sample)},
          {"leftOut", _leftOut}};
}
