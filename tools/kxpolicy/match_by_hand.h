// A person tries out a pattern.
#pragma once

#include <string>
#include <vector>

#include "tools/kxpolicy/tool.h"

struct SkxMatchByHand {
  std::string pattern;
  std::string mode = "wildcard";  ///< a name or a number
  bool caseSensitive = false;
  std::vector<std::string> texts;
};

/// One line a text: whether it matches, and the part that did. Without texts the lines of standard input that match. An
/// expression that does not compile is shown with a caret under the place, and is unusable input.
EkxExit KxMatch_ByHand(const SkxMatchByHand& request, SkxStreams& streams);
