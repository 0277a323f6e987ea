// Names that do not show as they are. For the files of lint.h.
#pragma once

#include <optional>
#include <string>

#include "Common_CPP/util/text_view.h"

/// What is wrong with a name that has characters which do not show, or steer how others show; else nothing.
std::optional<std::string> KxLint_NameFault(CkxTextView name);
