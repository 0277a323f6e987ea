// What is certain of two conditions: whether one holds wherever the other does, whether a file can meet both, and what
// it is to meet both. Where nothing is certain the answer is the careful one: not covered, may meet, cannot be said.
#pragma once

#include "Agent/engine/kx_publish/import/imported_rules.h"

bool KxFileCondition_Covers(const SkxFileCondition& outer, const SkxFileCondition& inner);
bool KxFileCondition_NeverMeet(const SkxFileCondition& a, const SkxFileCondition& b);
std::optional<SkxFileCondition> KxFileCondition_Both(const SkxFileCondition& a, const SkxFileCondition& b);
