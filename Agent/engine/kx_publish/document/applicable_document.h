// Which policies apply to which user, as documents and images say it: {"S-1-5-32-545": [1, 2], "*": [1, 2, 3]}.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// The key of the row for everybody who has none.
inline constexpr const char* kKxEverybodyKey = "*";

/// Throws a `CkxDocumentFault` for a key that is neither a SID nor "*", and for an id that is no u32. Keys come out in
/// the SID's canonical text; two that are the same SID are a fault.
SkxApplicableRows KxApplicable_Read(const nlohmann::json& json, const std::string& pointer);
SkxApplicableRows KxApplicable_Parse(const std::string& text);
std::string KxApplicable_Write(const SkxApplicableRows& rows);
