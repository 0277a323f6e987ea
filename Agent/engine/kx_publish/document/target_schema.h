// docs/target.schema.json, which editors complete from, as the lists of target_document_fields.h have it.
#pragma once

#include <string>

std::string KxTargetDocument_Schema();
