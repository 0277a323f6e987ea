// docs/policy.schema.json, which editors complete from, as the lists of policy_fields.h have it.
#pragma once

#include <string>

std::string KxPolicyDocument_Schema();
