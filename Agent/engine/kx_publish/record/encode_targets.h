// Targets as records write them: what encode.cpp puts into policies and groups.
#pragma once

#include "Agent/engine/kx_publish/model/target_model.h"
#include "Agent/engine/kx_publish/record/record_writer.h"

/// u32 count, then the targets' records.
void KxEncode_Targets(CkxRecordWriter& out, const std::vector<SkxTargetModel>& targets);
