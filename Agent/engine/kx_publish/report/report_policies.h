// A publication as data for a report: what `report.js` shows of policies, groups, alerts, users and findings. Every
// record has its place in it, one that cannot be read too, with the reason. All texts are printable.
#pragma once

#include <map>
#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/document_names.h"
#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/lint/lint.h"

/// What people call groups and alerts, which records know by their ids alone; empty where nobody has said.
struct SkxReportNames {
  std::map<GUID, KxWString, SkxGuidLess> groups;
  std::map<GUID, KxWString, SkxGuidLess> alerts;
};
SkxReportNames KxReport_NamesOf(const SkxPublication& publication);

/// `title`: where the policies are from. The image's applicable rules are well-formed, as those of one that was loaded
/// are.
nlohmann::ordered_json KxReport_Policies(const std::string& title, const SkxPolicyImage& image,
                                         const SkxReportNames& names, const std::vector<SkxFinding>& findings);
