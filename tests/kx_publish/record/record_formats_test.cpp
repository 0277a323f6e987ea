// docs/record-formats.md says what the tables say. After a change of the tables, run with KX_WRITE_DOCS set to write
// the file again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Agent/engine/kx_publish/record/record_layout_markdown.h"

namespace {

constexpr const char* kPath = "docs/record-formats.md";  // tests run at the root of the sources

std::vector<std::string> LinesOf(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (line.ends_with('\r')) line.pop_back();  // as a checkout may have it
    lines.push_back(line);
  }
  return lines;
}

TEST(RecordFormats, AreDocumentedAsTheyAre) {
  const std::string rendered = KxRecordLayout_Markdown();
  if (std::getenv("KX_WRITE_DOCS") != nullptr) {
    ASSERT_TRUE(std::ofstream(kPath, std::ios::binary) << rendered);
  }
  std::ifstream file(kPath, std::ios::binary);
  std::ostringstream committed;
  ASSERT_TRUE(committed << file.rdbuf()) << kPath << " cannot be read";

  const std::vector<std::string> expected = LinesOf(rendered);
  const std::vector<std::string> actual = LinesOf(committed.str());
  for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
    ASSERT_EQ(i < actual.size() ? actual[i] : "(end)", i < expected.size() ? expected[i] : "(end)")
        << kPath << " line " << i + 1;
  }
}

/// A heading for everything that a link leads to.
TEST(RecordFormats, LinkToHeadingsThatAreThere) {
  const std::string text = KxRecordLayout_Markdown();
  std::vector<std::string> anchors;
  for (const std::string& line : LinesOf(text)) {
    if (!line.starts_with('#')) continue;
    std::string anchor = line.substr(line.find(' ') + 1);
    for (char& c : anchor) c = c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(std::count(anchors.begin(), anchors.end(), anchor), 0) << line << " is there twice";
    anchors.push_back(anchor);
  }
  size_t links = 0;
  for (size_t at = text.find("](#"); at != text.npos; at = text.find("](#", at + 1), ++links) {
    const std::string anchor = text.substr(at + 3, text.find(')', at) - at - 3);
    EXPECT_EQ(std::count(anchors.begin(), anchors.end(), anchor), 1) << anchor;
  }
  EXPECT_GT(links, 100u);
}

}  // namespace
