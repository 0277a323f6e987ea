#include "Agent/engine/kx_publish/witness/accepted_texts.h"

#include <kx_util/match_str.h>
#include <kx_util/version.h>

#include <algorithm>

#include "Agent/engine/kx_util/regexp/regexp_samples.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr size_t kMaxSamples = 6;

void AddNew(KxTexts& texts, KxWString text) {
  if (std::find(texts.begin(), texts.end(), text) == texts.end()) texts.push_back(std::move(text));
}

KxTexts Possible(const SkxTextTest& test) {
  const KxWString& pattern = test.pattern;
  switch (static_cast<EkxStrCompareAs>(test.compareAs)) {
    case EkxStrCompareAs::StrEquals:
      return {pattern};
    case EkxStrCompareAs::StrStartsWith:
      return {pattern, pattern + KXW("x")};
    case EkxStrCompareAs::StrContains:
      return {pattern, pattern + KXW("x"), KXW("x") + pattern, KXW("x") + pattern + KXW("x")};
    case EkxStrCompareAs::StrWildcard:
      return KxAccepted_Fillings(pattern);
    case EkxStrCompareAs::StrRegExp:
      return KxRegExp_Samples(pattern, test.caseSensitive, kMaxSamples);
  }
  return {};
}

/// Where case does not matter, another one may: to a policy that comes before.
KxWString OtherCase(const KxWString& text) {
  KxWString other = text;
  for (WCHAR& unit : other) {
    const bool isLower = unit >= KXW('a') && unit <= KXW('z');
    const bool isUpper = unit >= KXW('A') && unit <= KXW('Z');
    if (isLower || isUpper) unit = static_cast<WCHAR>(unit ^ 0x20);
  }
  return other;
}

KxWString VersionText(uint64_t version) {
  KxWString text;
  for (int shift = 48; shift >= 0; shift -= 16) {
    if (!text.empty()) text += KXW('.');
    for (const char digit : std::to_string(version >> shift & 0xFFFF)) text += static_cast<WCHAR>(digit);
  }
  return text;
}

}  // namespace

KxTexts KxAccepted_Texts(const SkxTextTest& test) {
  KxTexts accepted;
  const auto add = [&](const KxWString& text) {
    const bool matches =
        KxUtil_MatchStr(test.pattern, text, test.caseSensitive, static_cast<EkxStrCompareAs>(test.compareAs));
    if (matches) AddNew(accepted, text);
  };
  const KxTexts possible = Possible(test);
  for (const KxWString& text : possible) add(text);
  for (const KxWString& text : possible) add(OtherCase(text));
  std::stable_partition(accepted.begin(), accepted.end(), [](const KxWString& text) { return !text.empty(); });
  return accepted;
}

KxTexts KxAccepted_Fillings(const KxWString& pattern) {
  constexpr const WCHAR* kForRuns[] = {KXW(""), KXW("x"), KXW("w1"), KXW("a b")};
  constexpr WCHAR kForOne[] = {KXW('a'), KXW('x'), KXW('1'), KXW('_')};
  KxTexts fillings;
  for (size_t i = 0; i < std::size(kForRuns); ++i) {
    KxWString filled;
    for (const WCHAR unit : pattern) {
      if (unit == KXW('*')) {
        filled += kForRuns[i];
      } else {
        filled += unit == KXW('?') ? kForOne[i] : unit;
      }
    }
    AddNew(fillings, std::move(filled));
  }
  return fillings;
}

KxTexts KxAccepted_Versions(const SkxVersionBounds& bounds) {
  const bool hasMin = bounds.min != SkxVersionBounds::kOpen;
  const bool hasMax = bounds.max != SkxVersionBounds::kOpen;
  constexpr uint64_t kGreatest = ~uint64_t{0} - 1;
  KxTexts texts;
  if (hasMin) AddNew(texts, VersionText(bounds.min));
  if (hasMax) AddNew(texts, VersionText(bounds.max));
  if (hasMin && bounds.min < kGreatest) AddNew(texts, VersionText(bounds.min + 1));
  if (hasMax && bounds.max > 1) AddNew(texts, VersionText(bounds.max - 1));
  AddNew(texts, VersionText(uint64_t{1} << 48));
  if (!hasMin) AddNew(texts, VersionText(1));
  if (!hasMax) AddNew(texts, VersionText(kGreatest));
  CkxVersionRange range;
  range.FromString(hasMin ? VersionText(bounds.min).c_str() : nullptr,
                   hasMax ? VersionText(bounds.max).c_str() : nullptr);
  std::erase_if(texts, [&](const KxWString& text) { return !range.Contains(text.c_str()); });
  return texts;
}
