#include "Common_CPP/util/text.h"

#include <random>
#include <set>
#include <vector>

#include "Common_CPP/util/owned_str.h"
#include "tests/support/data_rows.h"

namespace {

constexpr size_t kNone = CkxTextView::npos;

/// Text in a block of exactly its size and at an odd address, so that a read beyond its end or an aligned load is seen.
class OddText {
 public:
  explicit OddText(const KxWString& text) : _bytes(1 + text.size() * sizeof(WCHAR)) {
    if (!text.empty()) std::memcpy(_bytes.data() + 1, text.data(), text.size() * sizeof(WCHAR));
  }
  CkxTextView Counted() const { return CkxTextView::FromBytes(_bytes.data() + 1, _bytes.size() - 1); }

 private:
  std::vector<unsigned char> _bytes;
};

/// What each position must be worth, one unit at a time.
bool SlowEquals(const KxWString& a, const KxWString& b, bool caseSensitive) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [caseSensitive](WCHAR x, WCHAR y) {
           return caseSensitive ? x == y : KxText_Fold(x) == KxText_Fold(y);
         });
}

size_t SlowFind(const KxWString& text, const KxWString& part, bool caseSensitive) {
  for (size_t at = 0; !part.empty() && at + part.size() <= text.size(); ++at) {
    if (SlowEquals(text.substr(at, part.size()), part, caseSensitive)) return at;
  }
  return kNone;
}

TEST(Fold, KnownLetters) {
  KxTest_ForRows<std::string, std::string, std::string>(
      "text/folding.txt", [](const auto&, const auto& unit, const auto& folded) {
        EXPECT_EQ(KxText_Fold(static_cast<WCHAR>(std::stoul(unit, nullptr, 16))), std::stoul(folded, nullptr, 16));
      });
}

TEST(Fold, OfEveryUnit) {
  std::set<WCHAR> capitals;
  for (uint32_t number = 0; number <= 0xFFFF; ++number) {
    const auto unit = static_cast<WCHAR>(number);
    const WCHAR folded = KxText_Fold(unit);
    EXPECT_EQ(KxText_Fold(folded), folded) << "folding twice changes " << number;
    EXPECT_EQ(folded < 0x80, number < 0x80) << "folds into ASCII or out of it: " << number;
    EXPECT_TRUE(folded == unit || capitals.insert(folded).second) << "another form of the letter folds too: " << number;
  }
  EXPECT_EQ(capitals.size(), 1163u);  // lower-case units with a simple upper case in Unicode 15.0 that has them back
}

TEST(TextView, EndsAtItsNulOrItsCountedBytes) {
  KxTest_ForRows<std::string, std::vector<unsigned char>, KxWString>(
      "text/counted.txt", [](const auto&, const auto& bytes, const auto& text) {
        const std::vector<unsigned char> exact = bytes;  // so that a read beyond the count is seen
        EXPECT_EQ(CkxTextView::FromBytes(exact.data(), exact.size()).ToString(), text);
      });
  const unsigned char nothing = 0;
  EXPECT_TRUE(CkxTextView::FromBytes(nullptr, 8).IsNull());
  EXPECT_FALSE(CkxTextView::FromBytes(&nothing, 0).IsNull());
  EXPECT_TRUE(CkxTextView(static_cast<const WCHAR*>(nullptr)).IsNull());
}

TEST(TextView, FindsTheNulAtEveryPlace) {
  for (size_t length = 0; length < 20; ++length) {
    KxWString text(length, KXW('x'));
    text += WCHAR{};
    text.append(20 - length, KXW('\x100'));  // its low byte is 0: only a whole unit of 0 ends a text
    EXPECT_EQ(OddText(text).Counted().Size(), length);
  }
}

TEST(Text, AgreesWithTheSlowWayOnRandomTexts) {
  constexpr WCHAR kUnits[] = {'a', 'A', 'b', 'i', 'I', 's', '@', '`', 0x131, 0x161, 0x17F, 0xE9, 0xC9, 0x100, 0xFFFF};
  std::mt19937 random(20240611);
  const auto pick = [&random](size_t below) { return random() % below; };
  const auto randomText = [&](size_t maxUnits) {
    const size_t kinds = 2 + pick(std::size(kUnits) - 1);  // few kinds: many near matches
    KxWString text;
    for (size_t left = pick(maxUnits + 1); left != 0; --left) text += kUnits[pick(kinds)];
    return text;
  };
  for (int round = 0; round < 40000; ++round) {
    const KxWString text = randomText(24);
    const KxWString part = pick(2) == 0 ? randomText(5) : text.substr(pick(text.size() + 1), pick(9));
    const OddText oddText(text), oddPart(part);
    const WCHAR unit = kUnits[pick(std::size(kUnits))];
    for (const bool caseSensitive : {false, true}) {
      ASSERT_EQ(KxText_Equals(oddText.Counted(), oddPart.Counted(), caseSensitive),
                SlowEquals(text, part, caseSensitive));
      ASSERT_EQ(KxText_Find(oddText.Counted(), oddPart.Counted(), caseSensitive), SlowFind(text, part, caseSensitive));
      ASSERT_EQ(KxText_StartsWith(oddText.Counted(), oddPart.Counted(), caseSensitive),
                SlowEquals(text.substr(0, part.size()), part, caseSensitive));
    }
    ASSERT_EQ(KxText_FindUnit(oddText.Counted(), unit), text.find(unit));
    ASSERT_EQ(KxText_FindLastUnit(oddText.Counted(), unit), text.rfind(unit));
  }
}

/// Long enough, and with enough of itself in itself, that a search which tries position after position gives that up.
TEST(Text, FindsInTextsThatRepeatThemselves) {
  std::mt19937 random(20240612);
  const auto pick = [&random](size_t below) { return random() % below; };
  for (size_t round = 0; round < 3000; ++round) {
    const WCHAR kinds[] = {'a', 'A', static_cast<WCHAR>(round % 2 == 0 ? 'b' : 0xE9), 0xC9};
    KxWString word;
    for (size_t left = 1 + pick(7); left != 0; --left) word += kinds[pick(1 + round % 4)];
    KxWString text;
    while (text.size() < 900) text += word;
    for (size_t left = pick(4); left != 0; --left) text[pick(text.size())] = kinds[pick(4)];
    KxWString part = text.substr(pick(300), 100 + pick(300));
    if (pick(2) == 0) part[pick(part.size())] = kinds[pick(4)];
    for (const bool caseSensitive : {false, true}) {
      ASSERT_EQ(KxText_Find(OddText(text).Counted(), OddText(part).Counted(), caseSensitive),
                SlowFind(text, part, caseSensitive))
          << KxText_ToUtf8(part) << " in " << KxText_ToUtf8(text);
    }
  }
}

TEST(Text, WhatHasNoUnitsAndWhatHasANulInside) {
  EXPECT_TRUE(KxText_Equals(CkxTextView(), KXW(""), false));
  EXPECT_TRUE(KxText_Equals(KXW(""), CkxTextView(), true));
  EXPECT_EQ(KxText_Find(CkxTextView(), KXW("a"), false), kNone);
  EXPECT_TRUE(KxText_StartsWith(CkxTextView(), CkxTextView(), true));
  EXPECT_FALSE(KxText_Equals(KxWString(KXW("a\0b"), 3), KxWString(KXW("A\0c"), 3), false));
}

TEST(Text, FourAsciiUnitsAtOnceFoldAsEachAlone) {
  for (WCHAR a = 0; a < 0x80; ++a) {
    for (WCHAR b = 0; b < 0x80; ++b) {
      const KxWString ab = {a, b, a, b};
      const KxWString ba = {b, a, b, a};
      ASSERT_EQ(KxText_Equals(ab, ba, false), KxText_Fold(a) == KxText_Fold(b)) << int{a} << " and " << int{b};
    }
  }
}

TEST(Text, WhiteSpaceIsTheUnicodeProperty) {
  const KxWString spaces =
      KXW("\x09\x0A\x0B\x0C\x0D\x20\x85\xA0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008"
          "\u2009\u200A\u2028\u2029\u202F\u205F\u3000");
  for (uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const auto wide = static_cast<WCHAR>(unit);
    EXPECT_EQ(KxText_IsSpace(wide), spaces.find(wide) != KxWString::npos) << unit;
  }
}

TEST(Text, Trim) {
  KxTest_ForRows<std::string, KxWString, KxWString>(
      "text/trimmed.txt",
      [](const auto&, const auto& text, const auto& trimmed) { EXPECT_EQ(KxText_Trim(text).ToString(), trimmed); });
  EXPECT_TRUE(KxText_Trim(CkxTextView()).IsNull());
  EXPECT_FALSE(KxText_Trim(KXW("  ")).IsNull());
}

TEST(Text, AnyFieldVisitsNonEmptyFieldsUntilOneIsTaken) {
  using Fields = std::vector<std::string>;
  KxTest_ForRows<std::string, KxWString, KxWString, Fields, bool>(
      "text/fields.txt", [](const auto&, const auto& list, const auto& stopAt, const auto& expected, bool taken) {
        Fields visited;
        EXPECT_EQ(KxText_AnyField(list, KXW(','),
                                  [&](CkxTextView field) {
                                    visited.push_back(KxText_ToUtf8(field));
                                    return KxText_Equals(field, stopAt, true);
                                  }),
                  taken);
        EXPECT_EQ(visited, expected);
      });
}

TEST(Utf8, RoundTripsEveryCodePoint) {
  for (uint32_t point = 0; point <= 0x10FFFF; ++point) {
    if (point == 0xD800) point = 0xE000;
    KxWString text;
    if (point > 0xFFFF) text += static_cast<WCHAR>(0xD7C0 + (point >> 10));
    text += static_cast<WCHAR>(point > 0xFFFF ? 0xDC00 + (point & 0x3FF) : point);
    const std::string utf8 = KxText_ToUtf8(text);
    ASSERT_EQ(utf8.size(), point < 0x80 ? 1u : point < 0x800 ? 2u : point < 0x10000 ? 3u : 4u) << point;
    ASSERT_EQ(KxText_FromUtf8(utf8), text) << point;
    ASSERT_EQ(KxText_FromUtf8(KxText_ToUtf8(KXW("a") + text + KXW("b"))), KXW("a") + text + KXW("b")) << point;
    ASSERT_TRUE(KxText_IsUtf8(utf8)) << point;
  }
}

TEST(Utf8, GoldenBytesAndLoneSurrogates) {
  using Bytes = std::vector<unsigned char>;
  KxTest_ForRows<std::string, Bytes, Bytes>("text/utf8.txt", [](const auto&, const auto& units, const auto& utf8) {
    EXPECT_EQ(KxText_ToUtf8(CkxTextView::FromBytes(units.data(), units.size())), std::string(utf8.begin(), utf8.end()));
  });
  EXPECT_EQ(KxText_ToUtf8(CkxTextView()), "");
  EXPECT_EQ(KxText_FromUtf8(""), KxWString());
}

TEST(Utf8, RefusesWhatIsNotWellFormed) {
  KxTest_ForRows<std::string, std::vector<unsigned char>>("text/not_utf8.txt", [](const auto&, const auto& bytes) {
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ(KxText_FromUtf8(text), std::nullopt);
    EXPECT_EQ(KxText_FromUtf8("ok" + text), std::nullopt);
    EXPECT_FALSE(KxText_IsUtf8(text) || KxText_IsUtf8("ok" + text));
  });
  for (const std::string character : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
    for (size_t kept = 1; kept < character.size(); ++kept) {
      const std::vector<char> exact(character.begin(), character.begin() + static_cast<std::ptrdiff_t>(kept));
      EXPECT_EQ(KxText_FromUtf8({exact.data(), exact.size()}), std::nullopt) << "truncated to " << kept;
      EXPECT_FALSE(KxText_IsUtf8({exact.data(), exact.size()})) << "truncated to " << kept;
    }
  }
}

/// Characters of random lengths, where most are ASCII; now and then a byte that does not belong there.
std::string RandomUtf8(std::mt19937& random) {
  static constexpr std::string_view kCharacters[] = {"\xC2\x80",         "\xDF\xBF",        "\xE0\xA0\x80",
                                                     "\xED\x9F\xBF",     "\xEE\x80\x80",    "\xEF\xBF\xBF",
                                                     "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"};
  std::string utf8;
  for (size_t pieces = random() % 8; pieces != 0; --pieces) {
    for (size_t i = random() % 20; i != 0; --i) utf8 += static_cast<char>(random() % 0x80);
    if (random() % 2 == 0) utf8 += kCharacters[random() % std::size(kCharacters)];
    if (random() % 8 == 0) utf8 += static_cast<char>(random() % 0x100);
  }
  return utf8;
}

/// One character after another, by the table of well-formed byte sequences in the Unicode standard.
std::optional<KxWString> SlowFromUtf8(const std::string& utf8) {
  struct Row {
    unsigned firstLeast, firstGreatest, secondLeast, secondGreatest;
    size_t size;
  };
  static constexpr Row kWellFormed[] = {
      {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
      {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
      {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
  };
  const auto byteAt = [&utf8](size_t at) { return static_cast<unsigned>(static_cast<unsigned char>(utf8[at])); };
  KxWString text;
  for (size_t at = 0; at < utf8.size();) {
    const unsigned first = byteAt(at);
    const auto* const row = std::find_if(std::begin(kWellFormed), std::end(kWellFormed), [first](const Row& each) {
      return first >= each.firstLeast && first <= each.firstGreatest;
    });
    if (row == std::end(kWellFormed) || utf8.size() - at < row->size) return std::nullopt;
    if (row->size > 1 && (byteAt(at + 1) < row->secondLeast || byteAt(at + 1) > row->secondGreatest))
      return std::nullopt;
    unsigned point = row->size == 1 ? first : first & (0x7Fu >> row->size);
    for (size_t i = 1; i < row->size; ++i) {
      if (byteAt(at + i) < 0x80 || byteAt(at + i) > 0xBF) return std::nullopt;
      point = point * 64 + byteAt(at + i) % 64;
    }
    if (point > 0xFFFF) text += static_cast<WCHAR>(0xD7C0 + (point >> 10));
    text += static_cast<WCHAR>(point > 0xFFFF ? 0xDC00 + point % 0x400 : point);
    at += row->size;
  }
  return text;
}

TEST(Utf8, RunsOfAsciiAreReadAsUnitsAlone) {
  std::mt19937 random(20);
  size_t refused = 0;
  for (int i = 0; i < 50'000; ++i) {
    const std::string utf8 = RandomUtf8(random);
    const std::vector<char> exact(utf8.begin(), utf8.end());
    const std::optional<KxWString> text = SlowFromUtf8(utf8);
    ASSERT_EQ(KxText_FromUtf8({exact.data(), exact.size()}), text) << testing::PrintToString(exact);
    if (!text.has_value()) {
      ++refused;
      continue;
    }
    ASSERT_EQ(KxText_ToUtf8(*text), utf8);
  }
  EXPECT_GT(refused, 5000u);
  EXPECT_LT(refused, 45'000u);
}

TEST(Utf8, RunsOfAsciiAreWrittenAsUnitsAlone) {
  std::mt19937 random(21);
  static constexpr WCHAR kOthers[] = {0x80, 0xFF, 0x100, 0x7FF, 0x800, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFF41, 0xFFFF};
  for (int i = 0; i < 50'000; ++i) {
    KxWString text(random() % 40, WCHAR{});
    for (WCHAR& unit : text) unit = static_cast<WCHAR>(1 + random() % 0x7F);  // a NUL would end it
    for (size_t others = random() % 6; others != 0 && !text.empty(); --others) {
      text[random() % text.size()] = kOthers[random() % std::size(kOthers)];
    }
    std::string utf8;
    for (size_t at = 0; at < text.size(); ++at) {
      const bool isPair = at + 1 < text.size() && text[at] >> 10 == 0x36 && text[at + 1] >> 10 == 0x37;
      utf8 += KxText_ToUtf8(CkxTextView(text).Part(at, isPair ? 2 : 1));  // too short for a run
      if (isPair) ++at;
    }
    const OddText odd(text);
    ASSERT_EQ(KxText_ToUtf8(odd.Counted()), utf8);
  }
}

TEST(UtilStr, AppendsAndHasNoNullPointer) {
  CkxUtilStr text;
  EXPECT_EQ(*text.String(), WCHAR{});
  text.Append(CkxTextView());
  EXPECT_TRUE(text.IsEmpty());
  text.Append(KXW("one, "));
  text.Append(OddText(KXW("two")).Counted());
  EXPECT_EQ(text, CkxUtilStr(KXW("one, two")));
  text.Empty();
  EXPECT_EQ(text, CkxUtilStr(CkxTextView()));
}

}  // namespace
