// The match primitives: free functions that compare what a policy stores (the pattern, first) with what a description
// supplies (second). None throws; every fault is a false answer with an error line in the trace.
#pragma once

#include <kx_util/file_hash_string.h>
#include <kx_util/match_arguments.h>
#include <kx_util/match_bitmask.h>
#include <kx_util/match_file.h>
#include <kx_util/match_location.h>
#include <kx_util/match_service_name.h>
#include <kx_util/match_str.h>
#include <kx_util/regexp_test_entry.h>
