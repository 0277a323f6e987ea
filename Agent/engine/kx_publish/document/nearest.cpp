#include "Agent/engine/kx_publish/document/nearest.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "Common_CPP/util/guid.h"

namespace {

constexpr size_t kMaxBytes = 64;  // of what can be a slip of something

unsigned char Folded(char unit) {
  return static_cast<unsigned char>(unit >= 'A' && unit <= 'Z' ? unit + ('a' - 'A') : unit);
}

/// Counts the slips between one word and others, a step for each letter of the other: a column of the table of
/// distances is two words of bits, whether each entry is one more or one less than that above it.
class SlipCounter {
 public:
  /// `word` has from 1 to kMaxBytes bytes.
  explicit SlipCounter(std::string_view word) : _size(word.size()), _last(uint64_t{1} << (word.size() - 1)) {
    for (size_t i = 0; i < word.size(); ++i) _places[Folded(word[i])] |= uint64_t{1} << i;
  }

  /// From `enough` on it may be more.
  size_t Slips(std::string_view other, size_t enough) const {
    uint64_t more = ~uint64_t{0}, less = 0, diagonal = 0, placesBefore = 0;
    size_t slips = _size;
    for (size_t left = other.size(); const char letter : other) {
      const uint64_t places = _places[Folded(letter)];
      const uint64_t swapped = ((~diagonal & places) << 1) & placesBefore;
      diagonal = (((places & more) + more) ^ more) | places | less | swapped;
      const uint64_t moreThanLeft = less | ~(diagonal | more);
      const uint64_t lessThanLeft = diagonal & more;
      slips = slips + ((moreThanLeft & _last) != 0 ? 1 : 0) - ((lessThanLeft & _last) != 0 ? 1 : 0);
      if (slips >= enough + --left) return enough;  // each letter that is left takes one back at most
      const uint64_t above = (moreThanLeft << 1) | 1;
      more = (lessThanLeft << 1) | ~(diagonal | above);
      less = above & diagonal;
      placesBefore = places;
    }
    return slips;
  }

 private:
  const size_t _size;
  const uint64_t _last;  // the bit of the word's last letter
  std::array<uint64_t, 256> _places{};
};

/// Of a size that slips are made in, and no id.
bool IsWord(std::string_view text) {
  return !text.empty() && text.size() <= kMaxBytes && !KxGuid_FromUtf8(text).has_value();
}

/// What other systems call it, and what it is called here.
constexpr std::pair<std::string_view, std::string_view> kOtherWords[] = {
    {"allow", "run"},    {"permit", "run"},        {"deny", "block"},         {"forbid", "block"},
    {"exact", "equals"}, {"prefix", "startsWith"}, {"substring", "contains"}, {"glob", "wildcard"},
};

std::string_view OwnWord(std::string_view word, std::span<const std::string> candidates) {
  const auto sameLetter = [](char a, char b) { return Folded(a) == Folded(b); };
  for (const auto& [other, own] : kOtherWords) {
    if (!std::ranges::equal(word, other, sameLetter)) continue;
    const auto found = std::find(candidates.begin(), candidates.end(), own);
    if (found != candidates.end()) return *found;
  }
  return {};
}

}  // namespace

std::string_view KxNearest(std::string_view word, std::span<const std::string> candidates) {
  std::string_view nearest;
  if (!IsWord(word)) return nearest;
  size_t fewest = std::max<size_t>(word.size() / 3, 1) + 1;
  const SlipCounter counter(word);
  for (const std::string& candidate : candidates) {
    const size_t longer = std::max(word.size(), candidate.size());
    const size_t apart = longer - std::min(word.size(), candidate.size());
    if (apart >= fewest || longer > kMaxBytes) continue;
    const size_t slips = counter.Slips(candidate, fewest);
    const bool sharesALetter = slips < longer;
    if (slips >= fewest || !sharesALetter || !IsWord(candidate)) continue;
    fewest = slips;
    nearest = candidate;
  }
  return nearest.empty() ? OwnWord(word, candidates) : nearest;
}

std::string KxNearest_Question(std::string_view word, std::span<const std::string> candidates) {
  const std::string_view nearest = KxNearest(word, candidates);
  return nearest.empty() ? std::string() : "; did you mean \"" + std::string(nearest) + "\"?";
}
