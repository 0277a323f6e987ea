// The question that a live description asks of the floor above: where a file came from, by what is kept with it.
// Declared here, where descriptions can see it; answered where origins are known (origin/kept_origin.cpp).
#pragma once

#include <memory>

#include "Common_CPP/util/text_view.h"

class CkxFileOrigin;
class CkxFileReader;

/// Of the open file, through that handle alone. `token` is the user on whose behalf other files are looked at, and
/// `path` is for the trace. Null when nothing is kept, or nothing that holds. That the system does not tell whether
/// there is anything is a fault.
std::shared_ptr<const CkxFileOrigin> KxKeptOrigin_Of(const CkxFileReader& file, CkxTextView path, void* token);
