// Processes to ask about: the recorded starts of processes of KX_SHARED_DATA, and made-up ones.
#pragma once

#include <kx_util/target_info_process.h>

#include <memory>
#include <string>
#include <vector>

using KxBenchStarts = std::vector<std::unique_ptr<CkxTargetInfoProcess>>;

/// The folder of real data, with a separator at its end; empty when KX_SHARED_DATA names none.
std::string KxBench_DataFolder();

/// Those that were recorded, and made-up ones up to `atLeast`.
KxBenchStarts KxBench_Starts(size_t atLeast);
