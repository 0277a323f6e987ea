#include <kx_util/kx_util.h>

#include "Common_CPP/util/message_box.h"
#include "Common_CPP/util/text.h"
#include "tests/support/data_rows.h"

namespace {

std::string shown;

void Record(CkxTextView title, CkxTextView text) { shown += KxText_ToUtf8(title) + ": " + KxText_ToUtf8(text); }

class RegExpEntry : public testing::Test {
 protected:
  static std::string Shown(const WCHAR* commandLine) {
    KxWString writable = commandLine;
    shown.clear();
    RegExpTestW(nullptr, nullptr, writable.data(), 1);
    return shown;
  }
  ~RegExpEntry() override { KxMessageBox_SetHook(_before); }

 private:
  const KxMessageBoxHook _before = KxMessageBox_SetHook(Record);
};

TEST_F(RegExpEntry, SaysWhetherTheSecondArgumentMatchesTheFirst) {
  KxTest_ForRows<KxWString, std::string>("regexp/command_lines.txt", [](const auto& line, const auto& expected) {
    EXPECT_EQ(Shown(line.c_str()), expected);
  });
  RegExpTestW(nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(shown, "") << "no command line at all";
}

}  // namespace
