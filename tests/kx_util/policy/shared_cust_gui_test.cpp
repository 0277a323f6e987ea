#include <kx_util/shared_cust_gui.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "Common_CPP/util/text.h"
#include "tests/support/record_bytes.h"
#include "tests/support/trace_capture.h"

namespace {

CkxRecordBytes Header(unsigned type) { return CkxRecordBytes().U32(0x22232428).SizeHere().U16(type).U16(0xEEEE).Id(4); }
CkxRecordBytes Dialog() { return Header(1).U32(0x80000003).Text(u"a.htm"); }
CkxRecordBytes Balloon() { return Header(2); }

CkxShBufCustGuiPtr Read(const CkxExactBytes& bytes, bool copy = false) {
  return CkxShBufCustGuiPtr(CkxShBufCustGuiBase::CustGuiFromBuffer(bytes.As<SkxAlertBufHeader>(), copy));
}

std::string Text(const WCHAR* text) { return KxText_ToUtf8(text); }

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
  return answers + " [" + Text(balloon.Text()) + "][" + Text(balloon.Title()) + "]";
}

TEST(Alert, EachTypeHasItsRecord) {
  constexpr unsigned char kDialog[] = {0x28, 0x24, 0x23, 0x22, 46, 0, 0, 0, 1,   0, 0,   0,  // magic, size, type
                                       4,    3,    2,    1,    6,  5, 8, 7, 9,   8, 7,   6, 5,   4, 3,   2,  // id
                                       2,    0,    0,    0,    10, 0, 0, 0, 'p', 0, '.', 0, 'h', 0, '!', 0, 0, 0};
  const CkxExactBytes golden(KxBytes(std::begin(kDialog), std::end(kDialog)));
  const CkxShBufCustGuiPtr dialog = Read(golden);
  ASSERT_NE(dialog, nullptr);
  const GUID id = dialog->Id();
  EXPECT_EQ(std::vector<uint32_t>({id.Data1, id.Data2, id.Data3, id.Data4[0], id.Data4[7]}),
            std::vector<uint32_t>({0x01020304, 0x0506, 0x0708, 9, 2}));
  EXPECT_EQ(Text(static_cast<const CkxShBufCustGuiDialog&>(*dialog).HtmlPath()), "p.h!");

  const struct {
    const char* name;
    CkxRecordBytes record;
    const char* answers;
  } cases[] = {
      {"dialog", Dialog(), "1 4 48 2147483651 a.htm"},
      {"dialog without a path", Header(1).U32(2).Absent(), "1 4 36 2 "},
      {"dialog with bytes after its path", Dialog().Zeros(3), "1 4 51 2147483651 a.htm"},
      {"dialog whose path is longer than the record", Header(1).U32(2).U32(5).Zeros(4), "no alert"},
      {"dialog whose path is longer than memory", Header(1).U32(2).U32(0xFFFFFFFF).Zeros(8), "no alert"},
      {"balloon", Balloon(), "2 4 28 [][]"},
      {"balloon with what might be texts", Balloon().Text(u"text").Text(u"title"), "2 4 58 [][]"},
      {"no type", Header(0).Zeros(64), "no alert"},
      {"type 3", Header(3).Zeros(64), "no alert"},
      {"a type of more than a byte", Header(0x0101).Zeros(64), "no alert"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const CkxExactBytes bytes(c.record.Bytes());
    for (const bool copy : {false, true}) {
      const CkxShBufCustGuiPtr alert = Read(bytes, copy);
      EXPECT_EQ(alert != nullptr ? Answers(*alert) : "no alert", c.answers);
    }
  }
}

TEST(Alert, OnlyAWholeRecordIsOne) {
  EXPECT_EQ(CkxShBufCustGuiBase::CustGuiFromBuffer(nullptr, false), nullptr);
  for (const CkxRecordBytes& record : {Dialog(), Balloon()}) {
    const KxBytes whole = record.Bytes();
    SCOPED_TRACE(whole.size());
    for (const bool copy : {false, true}) {
      for (size_t size = 8; size < whole.size(); ++size) {
        CkxExactBytes part(whole, size);
        part.Data()[4] = static_cast<unsigned char>(size);
        EXPECT_EQ(Read(part, copy), nullptr) << "of " << size << " bytes";
      }
      CkxExactBytes policy(whole);
      policy.Data()[0] = 0x25;
      EXPECT_EQ(Read(policy, copy), nullptr) << "the magic of policies";
    }
  }
  CkxExactBytes beyond(Balloon().Bytes());
  beyond.Data()[4] = 29;
  EXPECT_FALSE(CkxShBufCustGuiBaloon().FromBuffer(beyond.cursor, beyond.remaining)) << "larger than what remains";
  const unsigned char* nothing = nullptr;
  unsigned long remaining = 100;
  EXPECT_FALSE(CkxShBufCustGuiDialog().FromBuffer(nothing, remaining));
}

TEST(Alert, AnyByteMayBeWrongAndACopyAnswersAsTheRecordDoes) {
  for (const CkxRecordBytes& record : {Dialog(), Balloon()}) {
    const KxBytes whole = record.Bytes();
    size_t read = 0;
    for (size_t at = 0; at < whole.size(); ++at) {
      if (at >= 4 && at < 8) continue;  // whoever hands out a record vouches for its size
      for (const unsigned mask : {0x01u, 0x80u, 0xFFu}) {
        CkxExactBytes bytes(whole);
        bytes.Data()[at] = static_cast<unsigned char>(bytes.Data()[at] ^ mask);
        const CkxShBufCustGuiPtr inPlace = Read(bytes);
        const CkxShBufCustGuiPtr copy = Read(bytes, true);
        ASSERT_EQ(inPlace == nullptr, copy == nullptr) << at;
        if (inPlace == nullptr) continue;
        ++read;
        EXPECT_EQ(Answers(*inPlace), Answers(*copy)) << at;
      }
    }
    EXPECT_GE(read, 18u * 3) << "the id and what is reserved may be anything";
  }
}

TEST(Alert, ACopyOutlivesItsRecordAndElseItPointsIntoIt) {
  CkxExactBytes bytes(Dialog().Bytes());
  const CkxShBufCustGuiPtr copy = Read(bytes, true);
  const CkxShBufCustGuiPtr inPlace = Read(bytes, false);
  const auto* const path =
      reinterpret_cast<const unsigned char*>(static_cast<const CkxShBufCustGuiDialog&>(*inPlace).HtmlPath());
  EXPECT_EQ(path, bytes.cursor + 36);
  const std::string before = Answers(*copy);
  std::fill_n(bytes.Data(), bytes.remaining, static_cast<unsigned char>(0xCC));
  EXPECT_EQ(Answers(*copy), before);
}

TEST(Alert, TheBarePathOfACopyEndsWithTheCopy) {
  for (const uint32_t byteCount : {2u, 3u}) {
    const CkxExactBytes bytes(
        Header(1).U32(2).U32(byteCount).U8('a').U8(0).Append(KxBytes(byteCount - 2, 'b')).Bytes());
    const CkxShBufCustGuiPtr copy = Read(bytes, true);
    ASSERT_NE(copy, nullptr);
    const WCHAR* const path = static_cast<const CkxShBufCustGuiDialog&>(*copy).HtmlPath();
    EXPECT_EQ(path[0], KXW('a'));
    EXPECT_LE(KxWStringView(path).size(), 2u) << "a unit, and what is left of another";
  }
}

}  // namespace
