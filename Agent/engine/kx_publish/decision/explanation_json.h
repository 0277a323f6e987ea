// What an evaluation did, as an answer's "explain".
#pragma once

#include <span>
#include <string>

struct SkxExplainedPolicy;

/// Adds an array to `json`, an object a policy.
void KxExplanation_AddJson(std::string& json, std::span<const SkxExplainedPolicy> policies);
