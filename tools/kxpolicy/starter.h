// What `new` writes: policies to begin with, and the cases that hold them.
#pragma once

#include <array>
#include <string_view>

struct SkxStarterFile {
  const char* path;  ///< in the folder
  std::string_view text;
};

/// The cases lie in a folder of their own, so that "*.jsonc" is the policies.
extern const std::array<SkxStarterFile, 2> kKxStarterFiles;
