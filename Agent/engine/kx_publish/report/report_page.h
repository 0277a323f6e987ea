// A page that shows policies, in one file: its parts (report.html, report.css, report.js), which the build embeds, and
// the data that it shows.
//
// The page may load nothing and run no script but its own: its content security policy allows the two parts by their
// hashes and forbids the rest. The data stand in an element that is not run, and cannot end it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

/// UTF-8. `data` as `report.js` reads it; its texts are shown as texts, whatever is in them.
std::string KxReport_Page(const nlohmann::ordered_json& data);
