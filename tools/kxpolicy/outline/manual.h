// The manual page of the command, kxpolicy(1), in the language of man.
#pragma once

#include <string>

#include "tools/kxpolicy/outline/outline.h"

/// All verbs and options on one page, as their help has them. `version` is that of the command.
std::string KxManual_Of(const SkxVerbOutline& command, const std::string& version);
