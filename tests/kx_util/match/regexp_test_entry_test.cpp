#include <gmock/gmock.h>
#include <kx_util/kx_util.h>

#include "Common_CPP/util/message_box.h"
#include "Common_CPP/util/text.h"

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
  const struct {
    const WCHAR* commandLine;
    const char* shown;
  } cases[] = {
      {KXW("\\z 123"), "RegExpTest: Match"},
      {KXW("  \"a b+\"  \"A BBB\" more"), "RegExpTest: Match"},
      {KXW("ab abc"), "RegExpTest: NO Match"},
      {KXW("a{b a{b"), "RegExpTest: NO Match"},
      {KXW("a* \"\""), "RegExpTest: Match"},
      {KXW("a*"), ""},
      {KXW(""), ""},
  };
  for (const auto& c : cases) EXPECT_EQ(Shown(c.commandLine), c.shown) << KxText_ToUtf8(c.commandLine);
  RegExpTestW(nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(shown, "") << "no command line at all";
}

}  // namespace
