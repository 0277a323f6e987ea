// docs/record-formats.md says what the tables say. After a change of the tables, run with KX_WRITE_DOCS set to write
// the file again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>

#include "Agent/engine/kx_publish/record/record_layout_markdown.h"
#include "tests/kx_publish/written_docs.h"

namespace {

TEST(RecordFormats, AreDocumentedAsTheyAre) {
  KxTest_ExpectWritten("docs/record-formats.md", KxRecordLayout_Markdown());
}

/// A heading for everything that a link leads to.
TEST(RecordFormats, LinkToHeadingsThatAreThere) {
  const std::string text = KxRecordLayout_Markdown();
  std::vector<std::string> anchors;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
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
