// From the bytes of records back to the model, for showing what is published as a document.
#pragma once

#include <span>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// All of `record`, header included. False for one that is short, or of a kind, or with a target of a kind, that the
/// model has no words for. Whether the library would read the record is not looked at: ask it before.
bool KxDecode_Policy(std::span<const unsigned char> record, SkxPolicyModel& model);

/// The name of a group or an alert is its id.
bool KxDecode_AppGroup(std::span<const unsigned char> record, SkxAppGroupModel& model);
bool KxDecode_Alert(std::span<const unsigned char> record, SkxAlertModel& model);
