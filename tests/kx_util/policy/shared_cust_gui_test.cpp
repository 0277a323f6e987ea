#include <kx_util/shared_cust_gui.h>

#include <gtest/gtest.h>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"

namespace {

CkxRecordBytes AlertHeader(unsigned type) {
  return CkxRecordBytes().U32(0x22232428).SizeHere().U16(type).U16(0xEEEE).Id(4);
}
CkxRecordBytes Dialog() { return AlertHeader(1).U32(0x80000003).Text(u"a.htm"); }
CkxRecordBytes Balloon() { return AlertHeader(2); }

CkxShBufCustGuiPtr ReadAlert(const CkxExactBytes& bytes, bool copy = false) {
  return CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(bytes.As<SkxAlertBufHeader>(), copy));
}

/// What an alert says of itself.
std::string Answers(const CkxShBufCustGuiBase& alert) {
  std::string answers = std::to_string(static_cast<unsigned>(alert.AlertType())) + " " +
                        std::to_string(alert.Id().Data1) + " " + std::to_string(alert.BufferSize());
  if (alert.AlertType() == EkxAlertType::Dialog) {
    const auto& dialog = static_cast<const CkxShBufCustGuiDialog&>(alert);
    return answers + " " + std::to_string(static_cast<uint32_t>(dialog.DlgType())) + " " +
           KxText_ToUtf8(dialog.HtmlPathView());
  }
  const auto& balloon = static_cast<const CkxShBufCustGuiBaloon&>(alert);
  return answers + " [" + KxText_ToUtf8(balloon.Text()) + "][" + KxText_ToUtf8(balloon.Title()) + "]";
}

TEST(Alert, EachTypeHasItsRecord) {
  const struct {
    const char* name;
    CkxRecordBytes record;
    const char* answers;
  } cases[] = {
      {"dialog", Dialog(), "1 4 48 2147483651 a.htm"},
      {"dialog without a path", AlertHeader(1).U32(2).Absent(), "1 4 36 2 "},
      {"dialog with bytes after its path", Dialog().Zeros(3), "1 4 51 2147483651 a.htm"},
      {"dialog whose path is longer than the record", AlertHeader(1).U32(2).U32(5).Zeros(4), "no alert"},
      {"dialog whose path is longer than memory", AlertHeader(1).U32(2).U32(0xFFFFFFFF).Zeros(8), "no alert"},
      {"balloon", Balloon(), "2 4 28 [][]"},
      {"balloon with what might be texts", Balloon().Text(u"text").Text(u"title"), "2 4 58 [][]"},
      {"no type", AlertHeader(0).Zeros(64), "no alert"},
      {"type 3", AlertHeader(3).Zeros(64), "no alert"},
      {"a type of more than a byte", AlertHeader(0x0101).Zeros(64), "no alert"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxExactBytes bytes(c.record.Bytes());
    for (const bool copy : {false, true}) {
      const CkxShBufCustGuiPtr alert = ReadAlert(bytes, copy);
      EXPECT_EQ(alert != nullptr ? Answers(*alert) : "no alert", c.answers);
    }
  }
}

TEST(Alert, TheBarePathOfACopyEndsWithTheCopy) {
  for (const uint32_t byteCount : {2u, 3u}) {
    const CkxExactBytes bytes(
        AlertHeader(1).U32(2).U32(byteCount).U8('a').U8(0).Append(KxBytes(byteCount - 2, 'b')).Bytes());
    const CkxShBufCustGuiPtr copy = ReadAlert(bytes, true);
    ASSERT_NE(copy, nullptr);
    const WCHAR* const path = static_cast<const CkxShBufCustGuiDialog&>(*copy).HtmlPath();
    EXPECT_EQ(path[0], KXW('a'));
    EXPECT_LE(KxWStringView(path).size(), 2u) << "a unit, and what is left of another";
  }
}

}  // namespace
