// A publication as data for a report: what `report.js` shows of policies, groups, alerts, users and findings. Every
// record has its place in it, one that cannot be read too, with the reason. All texts are printable.
#pragma once

#include <nlohmann/json.hpp>

#include "Agent/engine/kx_publish/document/author_names.h"
#include "Agent/engine/kx_publish/image/policy_image.h"
#include "Agent/engine/kx_publish/lint/lint.h"

/// `title`: where the policies are from. The image's applicable rules are well-formed, as those of one that was loaded
/// are. `names`: what their author called things, as far as that is known.
nlohmann::ordered_json KxReport_Policies(const std::string& title, const SkxPolicyImage& image,
                                         const CkxAuthorNames& names, const std::vector<SkxFinding>& findings);
