// A schema as people read it: what fits on a line stands on one.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

std::string KxSchema_Text(const nlohmann::ordered_json& schema);
