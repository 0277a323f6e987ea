// Compiled expressions, kept for the process: policies are asked again and again, and compiling an expression takes
// much longer than matching it against a file name.
//
// At most so many are kept, of short patterns; one that falls where another is takes its place, so that patterns which
// are all different cost as much as without this, and no more memory. What is dropped is wiped.
#pragma once

#include "Agent/engine/kx_util/regexp/regexp.h"

/// The expression of `pattern`; null with the reason in `error` when it does not parse.
std::shared_ptr<const CkxRegExp> KxExpression_Compiled(CkxTextView pattern, bool caseSensitive, SkxRegExpError& error);

/// Drops all that are kept.
void KxExpression_ForgetAll();
