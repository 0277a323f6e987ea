// Who speaks in the trace lines of the store, whichever of its files they come from.
#pragma once

#include <string_view>

inline constexpr std::string_view kKxStoreScope = "CkxSharedPoliciesData";
