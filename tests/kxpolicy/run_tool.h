// One run of the command inside the test's process, and the folders that it works on.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tools/kxpolicy/tool.h"

struct SkxToolRun {
  int code;
  std::string out;
  std::string err;
};

inline SkxToolRun KxTest_RunTool(const std::vector<std::string>& arguments, const std::string& input = "") {
  std::istringstream in(input);
  std::ostringstream out;
  std::ostringstream err;
  SkxStreams streams = {in, out, err};
  streams.waitForStop = [](uint32_t) { return true; };  // what runs until it is stopped ends at once
  const int code = KxPolicy_Run(arguments, streams);
  return {code, out.str(), err.str()};
}

/// As the command takes paths: UTF-8.
inline std::string KxTest_PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

/// The same with "/" between its parts, on every system.
inline std::string KxTest_GenericPath(const std::filesystem::path& path) {
  const std::u8string text = path.generic_u8string();
  return std::string(text.begin(), text.end());
}
