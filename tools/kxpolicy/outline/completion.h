// What may stand next on a command line, for shells that complete it. One answer for all of them; what each does with
// it is in the script of its name, beside this file.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kxpolicy/outline/outline.h"

struct SkxCandidate {
  std::string text;  ///< a whole word, or one of the two below
  std::string help;  ///< one line, or empty
};

/// In place of a word: the names of what is on the disk, which shells know better.
inline constexpr std::string_view kKxAnyFile = ":files";
inline constexpr std::string_view kKxAnyFolder = ":folders";

/// `before` are the words between the program's name and the one at hand, `typed` what there is of that.
std::vector<SkxCandidate> KxCompletion_Of(const SkxVerbOutline& command, std::span<const std::string> before,
                                          const std::string& typed);

/// The scripts. Each asks `kxpolicy --complete=TYPED BEFORE...`, which answers a candidate a line, its help behind a
/// tab.
extern const std::string_view kKxCompletionBash;
extern const std::string_view kKxCompletionZsh;
extern const std::string_view kKxCompletionFish;
extern const std::string_view kKxCompletionPs1;
