// Policies as administrators have written them for other systems, made policies of ours, each rule one: what they
// demand of a program, and not what they allow or deny.
#pragma once

#include <string>

#include "Agent/engine/kx_publish/model/policy_model.h"

/// Of all XML documents in `folder`: names, paths, hashes, and publishers with product, name and version. Rules about
/// everything are left out. None when there is no such folder.
SkxPublication KxBench_RealPolicies(const std::string& folder);
