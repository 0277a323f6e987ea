#include "Common_CPP/util/format.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxField = 64;  // of widths and precisions; a larger one is taken as this

enum class EkxBits { Low16, Low32, All };

/// One conversion of a format, from behind its percent sign to its letter.
struct SkxConversion {
  bool zeros = false;
  size_t width = 0;
  std::optional<size_t> precision;
  EkxBits bits = EkxBits::Low32;
  WCHAR letter = 0;  // stays 0 when the format ends before it
};

bool Skip(CkxTextView& rest, CkxTextView expected) {
  if (!KxText_StartsWith(rest, expected, true)) return false;
  rest = rest.Part(expected.Size());
  return true;
}

size_t TakeNumber(CkxTextView& rest) {
  size_t number = 0;
  for (; !rest.IsEmpty() && rest.Front() >= KXW('0') && rest.Front() <= KXW('9'); rest = rest.Part(1)) {
    number = std::min(number * 10 + (rest.Front() - KXW('0')), kMaxField);
  }
  return number;
}

SkxConversion TakeConversion(CkxTextView& rest) {
  SkxConversion conversion;
  conversion.zeros = Skip(rest, KXW("0"));
  conversion.width = TakeNumber(rest);
  if (Skip(rest, KXW("."))) conversion.precision = TakeNumber(rest);
  if (Skip(rest, KXW("I64"))) conversion.bits = EkxBits::All;
  if (Skip(rest, KXW("h"))) conversion.bits = EkxBits::Low16;
  if (!rest.IsEmpty()) {
    conversion.letter = rest.Front();
    rest = rest.Part(1);
  }
  return conversion;
}

int64_t SignedBits(const CkxFormatArg& arg, EkxBits bits) {
  if (bits == EkxBits::Low16) return static_cast<int16_t>(arg.Signed());
  if (bits == EkxBits::Low32) return static_cast<int32_t>(arg.Signed());
  return arg.Signed();
}

uint64_t UnsignedBits(const CkxFormatArg& arg, EkxBits bits) {
  if (bits == EkxBits::Low16) return static_cast<uint16_t>(arg.Signed());
  if (bits == EkxBits::Low32) return static_cast<uint32_t>(arg.Signed());
  return arg.Unsigned();
}

KxWString Digits(uint64_t number, int base, bool upper) {
  char digits[24];
  char* const end = std::to_chars(std::begin(digits), std::end(digits), number, base).ptr;
  KxWString text(digits, end);
  if (upper) std::transform(text.begin(), text.end(), text.begin(), KxText_Fold);
  return text;
}

KxWString Number(const SkxConversion& conversion, const CkxFormatArg& arg) {
  const bool isHex = conversion.letter == KXW('X') || conversion.letter == KXW('x');
  const int64_t number = conversion.letter == KXW('d') ? SignedBits(arg, conversion.bits) : 0;
  const uint64_t magnitude = number < 0 ? 0 - static_cast<uint64_t>(number) : UnsignedBits(arg, conversion.bits);
  const KxWString sign(number < 0 ? 1 : 0, KXW('-'));
  const KxWString digits = Digits(magnitude, isHex ? 16 : 10, conversion.letter == KXW('X'));

  // A precision counts digits; the zeros of `0` fill the width, sign included.
  const size_t atLeast = conversion.precision ? *conversion.precision
                         : conversion.zeros   ? conversion.width - std::min(conversion.width, sign.size())
                                              : 0;
  return sign + KxWString(atLeast - std::min(atLeast, digits.size()), KXW('0')) + digits;
}

/// Nothing when the argument is not of the letter's kind, or the letter is unknown.
std::optional<KxWString> Convert(const SkxConversion& conversion, const CkxFormatArg& arg) {
  switch (conversion.letter) {
    case KXW('d'):
    case KXW('u'):
    case KXW('X'):
    case KXW('x'):
      if (!arg.IsNumber()) return std::nullopt;
      return Number(conversion, arg);
    case KXW('c'):
      if (!arg.IsNumber()) return std::nullopt;
      return KxWString(1, static_cast<WCHAR>(arg.Unsigned()));
    case KXW('s'):
      if (arg.IsNumber()) return std::nullopt;
      return arg.Text().Part(0, conversion.precision.value_or(CkxTextView::npos)).ToString();
    default:
      return std::nullopt;
  }
}

}  // namespace

void KxText_AppendFormatArgs(CkxUtilStr& out, CkxTextView format, std::initializer_list<CkxFormatArg> args) {
  const CkxFormatArg* nextArg = args.begin();
  while (!format.IsEmpty()) {
    const size_t percent = KxText_FindUnit(format, KXW('%'));
    out.Append(format.Part(0, percent));
    if (percent == CkxTextView::npos) return;
    format = format.Part(percent + 1);
    if (Skip(format, KXW("%"))) {
      out.Append(KXW("%"));
      continue;
    }
    const SkxConversion conversion = TakeConversion(format);
    std::optional<KxWString> text;
    if (nextArg != args.end()) text = Convert(conversion, *nextArg++);
    if (text) {
      out.Append(KxWString(conversion.width - std::min(conversion.width, text->size()), KXW(' ')));
      out.Append(*text);
    } else {
      out.Append(KXW("%!"));
    }
  }
}
