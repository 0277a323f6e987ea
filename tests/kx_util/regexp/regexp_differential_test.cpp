// Every small expression over a and b, on every short subject: both machines against plain recursion.
#include <gtest/gtest.h>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "tests/kx_util/regexp/regexp_test_tree.h"

namespace {

using EkxKind = SkxTestTree::EkxKind;

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

TEST(RegExpDifferential, AllSmallExpressions) {
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
      for (const std::string& subject : subjects) {
        SkxRegExpMatch expected;
        const bool matches = CkxTestReference(tree, groupCount, subject).Search(expected);
        SkxRegExpMatch match;
        const bool found = expression.Match(Wide(subject), match);
        ASSERT_EQ(Show(found, match), Show(matches, expected)) << pattern << " on " << subject;
        ASSERT_EQ(Backtracked(program, Wide(subject)), Show(matches, expected)) << pattern << " on " << subject;
        size_t length = CkxTextView::npos;
        expression.MatchPrefix(Wide(subject), length);
        ASSERT_EQ(length, matches && expected.start == 0 ? expected.end : CkxTextView::npos)
            << pattern << " on " << subject;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 100'000u);
}

}  // namespace
