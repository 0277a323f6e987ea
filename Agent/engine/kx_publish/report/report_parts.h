// The parts of the page, as they are in this folder; the build writes their definitions.
#pragma once

#include <string_view>

extern const std::string_view kKxReportHtml;
extern const std::string_view kKxReportCss;
extern const std::string_view kKxReportJs;
