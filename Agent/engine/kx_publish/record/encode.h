// From the model to the bytes that agents read: records, sections (u32 count, then the records back to back). The same
// model always gives the same bytes.
#pragma once

#include "Agent/engine/kx_publish/model/policy_model.h"

std::vector<unsigned char> KxEncode_Policy(const SkxPolicyModel& policy);
std::vector<unsigned char> KxEncode_AppGroup(const SkxAppGroupModel& group);
std::vector<unsigned char> KxEncode_Alert(const SkxAlertModel& alert);

std::vector<unsigned char> KxEncode_Policies(const std::vector<SkxPolicyModel>& policies);
std::vector<unsigned char> KxEncode_AppGroups(const std::vector<SkxAppGroupModel>& groups);
std::vector<unsigned char> KxEncode_Alerts(const std::vector<SkxAlertModel>& alerts);
