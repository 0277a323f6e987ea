// Expressions against PCRE2, which a test may lean on and the library must not: what both dialects can say has to have
// the same preferred match and the same groups. Built where the 16-bit PCRE2 library is at hand.
#include <gtest/gtest.h>

#include <random>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "tests/kx_util/regexp/regexp_test_tree.h"
#include "tests/support/trace_capture.h"

#define PCRE2_CODE_UNIT_WIDTH 16
#include <pcre2.h>

namespace {

using EkxKind = SkxTestTree::EkxKind;

class CkxGenerator {
 public:
  explicit CkxGenerator(uint32_t seed) : _random(seed) {}

  size_t Below(size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(_random); }

  SkxTestTree Tree() {
    _groups = 0;
    _closed.clear();
    return Tree(1 + Below(5));
  }

  std::string Subject() {
    static const std::string units = "aaabbbcAB1 \n";
    std::string subject;
    for (size_t left = Below(12); left != 0; --left) subject += units[Below(units.size())];
    return subject;
  }

 private:
  SkxTestTree Tree(size_t depth) {
    if (depth == 0) return Leaf();
    switch (Below(9)) {
      case 0:
      case 1:
      case 2:
        return SkxTestTree::Of(EkxKind::Sequence, Children(depth));
      case 3:
        return SkxTestTree::Of(EkxKind::Alternatives, Children(depth));
      case 4:
        return Group(depth);
      case 5:
      case 6:
        return Repeat(depth);
      case 7:
        return Below(2) != 0 ? SkxTestTree::Of(EkxKind::NotAhead, {Tree(depth - 1)}) : Leaf();
      default:
        return Leaf();
    }
  }

  std::vector<SkxTestTree> Children(size_t depth) {
    std::vector<SkxTestTree> children;
    for (size_t left = 2 + Below(2); left != 0; --left) children.push_back(Tree(depth - 1));
    return children;
  }

  SkxTestTree Group(size_t depth) {
    const size_t number = _groups++;
    SkxTestTree group = SkxTestTree::Of(EkxKind::Group, {Tree(depth - 1)});
    if (!group.CanBeEmpty()) _closed.push_back(number);
    return group;
  }

  SkxTestTree Repeat(size_t depth) {
    static const char* const quantifiers[] = {"?", "*", "+", "??", "*?", "+?"};
    SkxTestTree child = Tree(depth - 1);
    if (child.CanBeEmpty()) return child;
    return SkxTestTree::Of(EkxKind::Repeat, {std::move(child)}, quantifiers[Below(6)]);
  }

  SkxTestTree Leaf() {
    static const SkxTestTree leaves[] = {
        SkxTestTree::Leaf("a"),
        SkxTestTree::Leaf("a"),
        SkxTestTree::Leaf("b"),
        SkxTestTree::Leaf("b"),
        SkxTestTree::Leaf("c"),
        SkxTestTree::Leaf("A"),
        SkxTestTree::Leaf("."),
        SkxTestTree::Leaf("[a-b]"),
        SkxTestTree::Leaf("[^a]"),
        SkxTestTree::Leaf("[B-Z1]"),
        Written("\\d", "[0-9]"),
        Written("\\w", "(?:[a-zA-Z]+)"),
        Written("\\a", "[a-zA-Z0-9]"),
        Written("\\b", "[ \\t]"),
        Written("\\n", "(?:\\r|\\r?\\n)"),
        SkxTestTree::Of(EkxKind::Anchor, {}, "^"),
        SkxTestTree::Of(EkxKind::Anchor, {}, "$"),
    };
    if (!_closed.empty() && Below(4) == 0) {
      SkxTestTree reference = SkxTestTree::Of(EkxKind::BackReference, {});
      reference.group = _closed[Below(_closed.size())];
      if (reference.group < 10) return reference;
    }
    return leaves[Below(std::size(leaves))];
  }

  static SkxTestTree Written(const std::string& dialect, const std::string& perl) {
    SkxTestTree leaf = SkxTestTree::Leaf(dialect);
    leaf.perl = perl;
    return leaf;
  }

  std::mt19937 _random;
  size_t _groups = 0;
  std::vector<size_t> _closed;
};

class CkxPcre {
 public:
  CkxPcre(const std::string& pattern, bool caseSensitive) {
    const KxWString wide = Wide(pattern);
    int error = 0;
    PCRE2_SIZE offset = 0;
    _code = pcre2_compile(Units(wide), wide.size(), PCRE2_DOTALL | (caseSensitive ? 0 : PCRE2_CASELESS), &error,
                          &offset, nullptr);
    if (_code != nullptr) _match = pcre2_match_data_create_from_pattern(_code, nullptr);
  }
  ~CkxPcre() {
    pcre2_match_data_free(_match);
    pcre2_code_free(_code);
  }
  CkxPcre(const CkxPcre&) = delete;
  CkxPcre& operator=(const CkxPcre&) = delete;

  static constexpr const char* gaveUp = "too many steps";

  bool IsOk() const { return _code != nullptr; }

  std::string Search(const std::string& subject, bool anchored, size_t groupCount) {
    const KxWString wide = Wide(subject);
    const int count = pcre2_match(_code, Units(wide), wide.size(), 0, anchored ? PCRE2_ANCHORED : 0, _match, nullptr);
    if (count == PCRE2_ERROR_MATCHLIMIT) return gaveUp;
    if (count < 0) return count == PCRE2_ERROR_NOMATCH ? "none" : "error " + std::to_string(count);
    const PCRE2_SIZE* ends = pcre2_get_ovector_pointer(_match);
    SkxRegExpMatch match{ends[0], ends[1], {}};
    for (size_t group = 1; group <= groupCount; ++group) match.groups.push_back({ends[2 * group], ends[2 * group + 1]});
    return Show(true, match);
  }

 private:
  static PCRE2_SPTR Units(const KxWString& text) { return reinterpret_cast<PCRE2_SPTR>(text.c_str()); }

  pcre2_code* _code = nullptr;
  pcre2_match_data* _match = nullptr;
};

TEST(RegExpDifferential, GeneratedExpressionsAgainstPcre) {
  CkxGenerator generate(20240611);
  size_t pairs = 0;
  size_t matches = 0;
  size_t gaveUp = 0;
  while (pairs < 100'000) {
    SkxTestTree tree = generate.Tree();
    const size_t groupCount = tree.NumberGroups();
    const bool caseSensitive = generate.Below(2) == 0;
    const std::string pattern = tree.Dialect();
    CkxPcre pcre(tree.Perl(), caseSensitive);
    CkxRegExp expression;
    ASSERT_TRUE(pcre.IsOk()) << tree.Perl();
    ASSERT_TRUE(expression.Parse(Wide(pattern), caseSensitive).IsOk()) << pattern;
    for (int round = 0; round < 10; ++round) {
      const std::string subject = generate.Subject();
      const std::string searched = pcre.Search(subject, false, groupCount);
      const std::string atStart = pcre.Search(subject, true, 0);
      const CkxTraceCapture errors;
      SkxRegExpMatch match;
      SkxRegExpMatch prefix;
      const bool found = expression.Match(Wide(subject), match);
      const bool prefixFound = expression.MatchPrefix(Wide(subject), prefix.end);
      const bool whole = expression.MatchWhole(Wide(subject));
      if (!errors.Lines().empty() || searched == CkxPcre::gaveUp || atStart == CkxPcre::gaveUp) {
        ++gaveUp;
        continue;
      }
      const std::string what = pattern + " = " + tree.Perl() + " on [" + subject + "]";
      ASSERT_EQ(Show(found, match), searched) << what;
      ASSERT_EQ(Show(prefixFound, prefix), atStart) << what;
      ASSERT_EQ(whole, prefixFound && prefix.end == subject.size()) << what;
      matches += found && match.end != match.start ? 1 : 0;
      ++pairs;
    }
  }
  EXPECT_GT(matches, pairs / 4) << "most pairs must have something to compare";
  EXPECT_LT(gaveUp, pairs / 1000) << "a backtracking engine's limits are rarely met";
}

/// All trees of `size` nodes, from the smaller ones in `bySize`.
std::vector<SkxTestTree> TreesOf(size_t size, const std::vector<std::vector<SkxTestTree>>& bySize) {
  if (size == 1) {
    return {SkxTestTree::Leaf("a"), SkxTestTree::Leaf("b"), SkxTestTree::Of(EkxKind::Anchor, {}, "$")};
  }
  std::vector<SkxTestTree> trees;
  for (const SkxTestTree& child : bySize[size - 1]) {
    for (const char* quantifier : {"?", "*", "+", "??", "*?", "+?"}) {
      trees.push_back(SkxTestTree::Of(EkxKind::Repeat, {child}, quantifier));
    }
    trees.push_back(SkxTestTree::Of(EkxKind::Group, {child}));
    trees.push_back(SkxTestTree::Of(EkxKind::NotAhead, {child}));
  }
  for (size_t left = 1; left + 1 < size; ++left) {
    for (const SkxTestTree& first : bySize[left]) {
      for (const SkxTestTree& second : bySize[size - 1 - left]) {
        trees.push_back(SkxTestTree::Of(EkxKind::Sequence, {first, second}));
        trees.push_back(SkxTestTree::Of(EkxKind::Alternatives, {first, second}));
      }
    }
  }
  return trees;
}

std::vector<std::string> SubjectsUpTo(size_t length) {
  std::vector<std::string> subjects = {""};
  for (size_t at = 0; at < subjects.size() && subjects[at].size() < length; ++at) {
    subjects.push_back(subjects[at] + "a");
    subjects.push_back(subjects[at] + "b");
  }
  return subjects;
}

std::string Backtracked(const SkxRegExpProgram& program, const KxWString& subject) {
  SkxRegExpFound found;
  found.slots.resize(SkxRegExpFound::SlotCount(program));
  SkxRegExpMatch match;
  const bool matched = KxRegExp_RunBacktracking(program, subject, false, found);
  const auto position = [](uint32_t slot) { return slot == SkxRegExpFound::unset ? CkxTextView::npos : slot; };
  match.start = found.slots[0];
  match.end = found.end;
  for (size_t slot = 1; slot < found.slots.size(); slot += 2) {
    match.groups.push_back({position(found.slots[slot]), position(found.slots[slot + 1])});
  }
  return Show(matched, match);
}

/// Every small expression over a and b, on every short subject, by both machines.
TEST(RegExpDifferential, AllSmallExpressionsAgainstPcre) {
  const std::vector<std::string> subjects = SubjectsUpTo(4);
  std::vector<std::vector<SkxTestTree>> bySize(1);
  size_t compared = 0;
  for (size_t size = 1; size <= 5; ++size) {
    bySize.push_back(TreesOf(size, bySize));
    for (SkxTestTree& tree : bySize.back()) {
      const size_t groupCount = tree.NumberGroups();
      const std::string pattern = tree.Dialect();
      CkxRegExp expression;
      const SkxRegExpError error = expression.Parse(Wide(pattern), true);
      ASSERT_EQ(error.code, tree.RepeatsEmpty() ? EkxRegExpError::EmptyRepeat : EkxRegExpError::Ok) << pattern;
      if (!error.IsOk()) continue;
      SkxRegExpTree parsed;
      SkxRegExpProgram program;
      ASSERT_TRUE(KxRegExp_ParseTree(Wide(pattern), parsed).IsOk());
      ASSERT_TRUE(KxRegExp_Compile(parsed, true, program).IsOk());
      CkxPcre pcre(tree.Perl(), true);
      ASSERT_TRUE(pcre.IsOk()) << tree.Perl();
      for (const std::string& subject : subjects) {
        const std::string what = pattern + " on " + subject;
        const std::string expected = pcre.Search(subject, false, groupCount);
        SkxRegExpMatch match;
        const bool found = expression.Match(Wide(subject), match);
        ASSERT_EQ(Show(found, match), expected) << what;
        ASSERT_EQ(Backtracked(program, Wide(subject)), expected) << what;
        SkxRegExpMatch prefix;
        const bool prefixFound = expression.MatchPrefix(Wide(subject), prefix.end);
        ASSERT_EQ(Show(prefixFound, prefix), pcre.Search(subject, true, 0)) << what;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 100'000u);
}

}  // namespace
