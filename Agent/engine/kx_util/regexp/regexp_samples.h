// Texts that an expression accepts: for whoever shows what a policy is about, or looks for what nothing can match.
#pragma once

#include "Agent/engine/kx_util/regexp/regexp.h"

/// Expressions longer than this have no samples: each unit is looked at for each sample.
inline constexpr size_t kxRegExpMaxSampledPattern = 1024;

/// Up to `most` texts, the shortest first, that `MatchWhole` of the expression accepts. None for one that does not
/// parse, and none where a text is hard to find: that says nothing about whether there is one.
std::vector<KxWString> KxRegExp_Samples(CkxTextView pattern, bool caseSensitive, size_t most);
