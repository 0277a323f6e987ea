#include "tests/kx_publish/written_docs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::vector<std::string> LinesOf(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line.ends_with('\r')) line.pop_back();  // as a checkout may have it
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

void KxTest_ExpectWritten(const char* path, const std::string& rendered) {
  if (std::getenv("KX_WRITE_DOCS") != nullptr) {
    ASSERT_TRUE(std::ofstream(path, std::ios::binary) << rendered) << path << " cannot be written";
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream committed;
  ASSERT_TRUE(committed << file.rdbuf()) << path << " cannot be read";

  const std::vector<std::string> expected = LinesOf(rendered);
  const std::vector<std::string> actual = LinesOf(committed.str());
  for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
    ASSERT_EQ(i < actual.size() ? actual[i] : "(end)", i < expected.size() ? expected[i] : "(end)")
        << path << " line " << i + 1;
  }
}
