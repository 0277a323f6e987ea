// Numbers of summaries: added up within 64 bits, and in a column.
#pragma once

#include <cstdint>
#include <string>

class CkxJsonObject;

/// `sum` grows by what `object` has under `key`. A `CkxDocumentFault` where the sum does not fit.
void KxSummary_AddCount(CkxJsonObject& object, const char* key, uint64_t& sum);

std::string KxSummary_Column(uint64_t count);
