// The answer to a line of a JSON Lines stream that cannot be used.
#pragma once

#include <string>
#include <string_view>

/// {"id":...,"error":"..."}, without a line end. `line` is asked for its id; `noId`, JSON too, is for one that has none
/// which can be read.
std::string KxFaultAnswer_Of(std::string_view line, const std::string& fault, const std::string& noId = "null");
