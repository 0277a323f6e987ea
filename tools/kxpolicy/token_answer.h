// How the verbs show the policy decision that is stamped on a token.
#pragma once

#include <kx_util/token_policy_data.h>

#include <nlohmann/json_fwd.hpp>

nlohmann::ordered_json KxTokenAnswer_Of(const SkxTokenPolicyData& data);
