// How often this process has asked for memory.
#pragma once

#include <cstdint>

uint64_t KxBench_Allocations();
