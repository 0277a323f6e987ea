#include "Agent/engine/kx_publish/document/nearest.h"

#include <algorithm>
#include <array>

#include "Common_CPP/util/guid.h"

namespace {

constexpr size_t kMaxBytes = 64;  // of what can be a slip of something

char Folded(char unit) { return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + ('a' - 'A')) : unit; }

/// Texts of words. From `enough` on it may be more.
size_t Slips(std::string_view a, std::string_view b, size_t enough) {
  using Row = std::array<size_t, kMaxBytes + 1>;
  Row beforeLast{}, last{}, row{};
  for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const bool isSame = Folded(a[i - 1]) == Folded(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
      const bool isSwapped =
          i > 1 && j > 1 && Folded(a[i - 1]) == Folded(b[j - 2]) && Folded(a[i - 2]) == Folded(b[j - 1]);
      if (isSwapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    const size_t fewest = std::min(*std::min_element(row.begin(), row.begin() + b.size() + 1),
                                   *std::min_element(last.begin(), last.begin() + b.size() + 1));
    if (fewest >= enough) return fewest;
    beforeLast = last;
    last = row;
  }
  return last[b.size()];
}

/// Of a size that slips are made in, and no id.
bool IsWord(std::string_view text) {
  return !text.empty() && text.size() <= kMaxBytes && !KxGuid_FromUtf8(text).has_value();
}

}  // namespace

std::string_view KxNearest(std::string_view word, std::span<const std::string> candidates) {
  std::string_view nearest;
  if (!IsWord(word)) return nearest;
  size_t fewest = std::max<size_t>(word.size() / 3, 1) + 1;
  for (const std::string& candidate : candidates) {
    const size_t apart = std::max(word.size(), candidate.size()) - std::min(word.size(), candidate.size());
    if (apart >= fewest || !IsWord(candidate)) continue;
    const size_t slips = Slips(word, candidate, fewest);
    const bool sharesALetter = slips < std::max(word.size(), candidate.size());
    if (slips >= fewest || !sharesALetter) continue;
    fewest = slips;
    nearest = candidate;
  }
  return nearest;
}

std::string KxNearest_Question(std::string_view word, std::span<const std::string> candidates) {
  const std::string_view nearest = KxNearest(word, candidates);
  return nearest.empty() ? std::string() : "; did you mean \"" + std::string(nearest) + "\"?";
}
