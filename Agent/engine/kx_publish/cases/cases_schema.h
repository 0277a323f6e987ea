// docs/cases.schema.json, which editors complete case files from.
#pragma once

#include <string>

std::string KxCaseDocument_Schema();
