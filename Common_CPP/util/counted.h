// A number with its noun, in texts for people.
#pragma once

#include <cstddef>
#include <string>

/// "1 alert", "2 alerts".
inline std::string KxCounted(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}
