// The rule of lint.h that looks at what decisions cost.
#pragma once

#include "Agent/engine/kx_publish/lint/lint_records.h"

/// Of a large image, the policies that a prepared one has to ask about everything.
void KxLint_Cost(const SkxPolicyImage& image, const CkxLintRecords& records, CkxFindings& findings);
