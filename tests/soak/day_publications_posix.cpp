#include "tests/soak/day_publications.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/policy_document.h"
#include "Agent/engine/kx_publish/image/encode_image.h"

namespace {

using nlohmann::json;

/// A policy about another program, with things to look at.
json OtherPolicy(uint32_t id) {
  const std::string text = std::to_string(id);
  const json target = {{"type", "executable"},
                       {"fileName", "other" + text + "*.exe"},
                       {"location", {{"pattern", "C:\\Tools\\" + text}, {"withSubfolders", true}}},
                       {"publishers", {"Publisher " + text}}};
  return {{"id", id}, {"name", "Other " + text}, {"action", "block"}, {"targets", {target}}};
}

json Document(uint32_t number) {
  constexpr uint32_t kFirstOther = 1000;
  constexpr uint32_t kOthersANumber = 125;
  char guid[39];
  std::snprintf(guid, sizeof(guid), "{%08X-0000-0000-0000-000000000000}", number);
  const json group = {{"name", "g"}, {"targets", {{{"type", "executable"}, {"fileName", "tool.exe"}, {"id", guid}}}}};
  const json blocked = {{"type", "applicationGroup"}, {"group", "g"}};
  json policies = json::array();
  for (uint32_t i = 0; i < number * kOthersANumber; ++i) policies.push_back(OtherPolicy(kFirstOther + i));
  policies.push_back({{"id", 2 * number}, {"name", "tool"}, {"action", "block"}, {"targets", {blocked}}});
  policies.push_back(
      {{"id", 2 * number + 1}, {"name", "all"}, {"action", "elevate"}, {"targets", {{{"type", "executable"}}}}});
  return {{"applicationGroups", {group}}, {"policies", policies}};
}

}  // namespace

SkxPolicyImage KxDay_Image(uint32_t number) {
  SkxPublication publication;
  SkxDocumentError error;
  const SkxDocumentText text[] = {{"day", Document(number).dump()}};
  if (!KxPolicyDocument_Read(text, publication, error)) {
    std::fprintf(stderr, "kx_day: %s\n", error.Text().c_str());
    std::exit(1);
  }
  return KxEncode_Image(publication);
}

std::string KxDay_FaultOf(const SkxTriggerPolicyShortInfo& info, uint32_t number) {
  if (info.PolicyAction != EkxPolicyAction::Block) return "the program was not blocked";
  const uint32_t publication = info.PolicyTargetId.Data1;
  const bool isOfOne = publication != 0 && publication <= kDayPublications && info.PolicyId == 2 * publication;
  if (!isOfOne) return "an answer of two publications";
  return number == 0 || number == publication ? "" : "an answer of another publication";
}
