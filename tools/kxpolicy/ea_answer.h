// How the verbs show an extended attribute.
#pragma once

#include <kx_util/ext_file_attributes.h>

#include <nlohmann/json_fwd.hpp>
#include <string>

/// `name`, `flags`, `value` where it is asked for, and `size`, which is that of its record.
nlohmann::ordered_json KxEaAnswer_Of(const CkxFileFullEaInfo& info, bool withValue);

/// On one line, without its end. Names that somebody else has written need not be UTF-8.
std::string KxEaAnswer_Line(const nlohmann::ordered_json& answer);
