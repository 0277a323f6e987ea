// One run of the command inside the test's process, and the folders that it works on.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/record_bytes.h"
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

inline std::string KxTest_Text(const KxBytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

/// Lower case.
inline std::string KxTest_Hex(const KxBytes& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
  }
  return text;
}

/// The bytes of hexadecimal text; blanks between them do not count.
inline KxBytes KxTest_FromHex(const std::string& text) {
  KxBytes bytes;
  std::string digits;
  for (const char unit : text) {
    if (unit != ' ') digits += unit;
    if (digits.size() < 2) continue;
    bytes.push_back(static_cast<unsigned char>(std::stoi(digits, nullptr, 16)));
    digits.clear();
  }
  return bytes;
}
