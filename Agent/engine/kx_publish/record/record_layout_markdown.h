// The reference of the policy buffer for whoever writes another producer, from the tables of record_layout.h:
// docs/record-formats.md, which a test holds against this.
#pragma once

#include <string>

std::string KxRecordLayout_Markdown();
