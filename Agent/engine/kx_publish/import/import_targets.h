// Conditions as targets.
#pragma once

#include "Agent/engine/kx_publish/import/imported_rules.h"
#include "Agent/engine/kx_publish/model/target_model.h"

/// Targets that together are met by what is of the kind and meets the condition; none where nothing of the kind can.
std::vector<SkxTargetBody> KxImportTargets_Of(const SkxFileCondition& condition, const SkxJudgedKind& kind);

/// Targets that everything of the kind meets that is judged.
std::vector<SkxTargetBody> KxImportTargets_OfAll(const SkxJudgedKind& kind);
