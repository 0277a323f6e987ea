// What is wrong with an expression, in words.
#include "Agent/engine/kx_util/regexp/regexp.h"

namespace {

/// By code.
constexpr const char* kWords[] = {
    "",
    "it is over a limit",
    "a { is not closed",
    "a ( is not closed",
    "a [ is not closed",
    "nothing of the kind can stand here",
    "a class is empty",
    "the group is not there, or not closed yet",
    "a range runs backwards",
    "what is repeated may be empty",
    "there is none",
};
static_assert(std::size(kWords) == static_cast<size_t>(EkxRegExpError::InvalidInput) + 1);

}  // namespace

const char* KxRegExp_ErrorText(EkxRegExpError error) { return kWords[static_cast<size_t>(error)]; }
