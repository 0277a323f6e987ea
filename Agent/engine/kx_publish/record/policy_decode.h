// From the library's objects back to the model, for showing what is published as a document.
#pragma once

#include <kx_util/shared_policy.h>

#include "Agent/engine/kx_publish/model/policy_model.h"

class CkxShBufAppGroup;
class CkxShBufCustGuiBase;

/// False for a policy of a kind, or with a target of a kind, that the model has no words for.
bool KxDecode_Policy(const CkxShBufPolicy& policy, SkxPolicyModel& model);
bool KxDecode_Target(const CkxShBufTarget& target, SkxTargetModel& model);

/// The name of a group or an alert is its id.
bool KxDecode_AppGroup(const CkxShBufAppGroup& group, SkxAppGroupModel& model);
bool KxDecode_Alert(const CkxShBufCustGuiBase& alert, SkxAlertModel& model);
