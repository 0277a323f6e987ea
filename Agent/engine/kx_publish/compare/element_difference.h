// What two elements of policy documents differ in, key by key. For image_difference.cpp.
//
// Targets are told apart by what they say: one that stands elsewhere is the same target. What is left on both sides is
// paired by kind and name, then by kind in order, so that a target with another file name is one that changed, not one
// that went and one that came.
#pragma once

#include <vector>

#include "Agent/engine/kx_publish/compare/difference.h"

/// Of `was` and `is`, objects as documents say them. `subject` is handed on in each difference.
std::vector<SkxDifference> KxElement_Differences(const SkxDifference& subject, const SkxDifference::Json& was,
                                                 const SkxDifference::Json& is);
