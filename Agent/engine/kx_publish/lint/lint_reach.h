// The rules of lint.h that look at who takes what: policies that are never reached, that nothing can match, that are
// applicable to nobody, and groups that nest too deep.
//
// A decision falls to the first policy, in the order of the section, that is active, applicable to the user and has a
// target that matches. A target takes everything that one of the same type takes which asks for the same properties,
// and perhaps for more, where each of its conditions takes all that the other's does (lint_inclusion.h). So a policy is
// out of reach when each of its targets, those of linked groups included, is taken by a target before it, of a policy
// that is applicable to at least the same users. That is told only where it is certain: what two targets take together
// is not looked into.
#pragma once

#include "Agent/engine/kx_publish/lint/lint_records.h"

/// `applicable`: the text of the image's applicable rules, where there are some.
void KxLint_Reach(const CkxLintRecords& records, const std::optional<std::string>& applicable, CkxFindings& findings);
