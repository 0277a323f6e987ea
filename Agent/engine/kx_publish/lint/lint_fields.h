// The rules of lint.h that look at one field, or at fields beside each other.
#pragma once

#include "Agent/engine/kx_publish/lint/lint_records.h"

/// Walks `record` and tells what is wrong with it.
void KxLint_Fields(const SkxLintRecord& record, const CkxLintRecords& records, CkxFindings& findings);
