// The checks that a target consists of, by the names that whoever watches an evaluation is told.
#pragma once

#include <string>
#include <vector>

#include "Agent/engine/kx_publish/model/target_model.h"

/// In the order of the record. A link, and what is about nothing but a task or a kind of thing, has none.
std::vector<std::string> KxTarget_SetChecks(const SkxTargetModel& target);
