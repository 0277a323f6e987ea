// All that is wrong with policy documents, for who looks for that.
#pragma once

#include "Agent/engine/kx_publish/document/policy_document.h"

/// As `KxPolicyDocument_Read`, with every fault: of each policy, group and alert the first.
bool KxPolicyDocument_ReadAll(std::span<const SkxDocumentText> documents, SkxPublication& publication,
                              std::vector<SkxDocumentError>& errors);
