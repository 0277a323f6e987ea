// Targets as records write them: what encode.cpp puts into policies and groups.
#pragma once

#include "Agent/engine/kx_publish/record_writer.h"
#include "Agent/engine/kx_publish/target_model.h"

/// u32 count, then the targets' records.
void KxEncode_Targets(CkxRecordWriter& out, const std::vector<SkxTargetModel>& targets);
