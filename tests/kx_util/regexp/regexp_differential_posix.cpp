// Expressions against PCRE2, which a test may lean on and the library must not: what both dialects can say has to have
// the same preferred match and the same groups. Built where the 16-bit PCRE2 library is at hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Agent/engine/kx_util/regexp/regexp_program.h"
#include "tests/kx_util/regexp/regexp_test_texts.h"
#include "tests/support/trace_capture.h"

#define PCRE2_CODE_UNIT_WIDTH 16
#include <pcre2.h>

namespace {

/// How closely an expression holds together: only an atom may be repeated as it stands.
enum class EkxBinding { Alternatives, Sequence, Repeat, Negation, Atom };

/// One expression in both dialects.
struct SkxExpression {
  std::string dialect;
  std::string perl;
  bool canBeEmpty = false;
  EkxBinding binding = EkxBinding::Atom;
  bool repeatsEmpty = false;  ///< somewhere in it, which the dialect refuses

  size_t GroupCount() const { return static_cast<size_t>(std::count(dialect.begin(), dialect.end(), '{')); }
};

/// As one piece where less than `least` would fall apart.
SkxExpression Held(const SkxExpression& e, EkxBinding least) {
  if (e.binding >= least) return e;
  return {"(" + e.dialect + ")", "(?:" + e.perl + ")", e.canBeEmpty, EkxBinding::Atom, e.repeatsEmpty};
}

SkxExpression Leaf(const std::string& dialect, const std::string& perl) { return {dialect, perl}; }
SkxExpression Leaf(const std::string& both) { return {both, both}; }

/// In its own group an anchor is first and last.
SkxExpression Anchor(char which) {
  return {std::string("(") + which + ")", which == '^' ? "(?:\\A)" : "(?:\\z)", true};
}

SkxExpression Sequence(const SkxExpression& first, const SkxExpression& second) {
  const SkxExpression a = Held(first, EkxBinding::Sequence);
  const SkxExpression b = Held(second, EkxBinding::Sequence);
  return {a.dialect + b.dialect, a.perl + b.perl, a.canBeEmpty && b.canBeEmpty, EkxBinding::Sequence,
          a.repeatsEmpty || b.repeatsEmpty};
}

SkxExpression Alternatives(const SkxExpression& a, const SkxExpression& b) {
  return {a.dialect + "|" + b.dialect, a.perl + "|" + b.perl, a.canBeEmpty || b.canBeEmpty, EkxBinding::Alternatives,
          a.repeatsEmpty || b.repeatsEmpty};
}

SkxExpression GroupOf(const SkxExpression& e) {
  return {"{" + e.dialect + "}", "(" + e.perl + ")", e.canBeEmpty, EkxBinding::Atom, e.repeatsEmpty};
}

const char* const kQuantifiers[] = {"?", "*", "+", "??", "*?", "+?"};

SkxExpression Repeat(const SkxExpression& e, const std::string& quantifier) {
  const SkxExpression held = Held(e, EkxBinding::Atom);
  return {held.dialect + quantifier, held.perl + quantifier, quantifier[0] != '+' || e.canBeEmpty, EkxBinding::Repeat,
          e.repeatsEmpty || e.canBeEmpty};
}

SkxExpression NotAhead(const SkxExpression& e) {
  return {"!" + Held(e, EkxBinding::Repeat).dialect, "(?!" + e.perl + ")", true, EkxBinding::Negation, e.repeatsEmpty};
}

class CkxGenerator {
 public:
  explicit CkxGenerator(uint32_t seed) : _random(seed) {}

  size_t Below(size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(_random); }

  SkxExpression Expression() {
    _groups = 0;
    _closed.clear();
    return Expression(1 + Below(5));
  }

  std::string Subject() {
    static const std::string units = "aaabbbcAB1 \n";
    std::string subject;
    for (size_t left = Below(12); left != 0; --left) subject += units[Below(units.size())];
    return subject;
  }

 private:
  SkxExpression Expression(size_t depth) {
    const size_t kind = depth == 0 ? 9 : Below(9);
    if (kind <= 3) {
      SkxExpression all = Expression(depth - 1);
      for (size_t left = 1 + Below(2); left != 0; --left) {
        const SkxExpression next = Expression(depth - 1);
        all = kind == 3 ? Alternatives(all, next) : Sequence(all, next);
      }
      return all;
    }
    if (kind == 4) return NumberedGroup(depth);
    if (kind <= 6) {
      const SkxExpression child = Expression(depth - 1);
      return child.canBeEmpty ? child : Repeat(child, kQuantifiers[Below(6)]);
    }
    return kind == 7 && Below(2) != 0 ? NotAhead(Expression(depth - 1)) : AnyLeaf();
  }

  SkxExpression NumberedGroup(size_t depth) {
    const size_t number = _groups++;
    SkxExpression group = GroupOf(Expression(depth - 1));
    if (!group.canBeEmpty) _closed.push_back(number);
    return group;
  }

  SkxExpression AnyLeaf() {
    static constexpr const char* same[] = {"a", "a", "b", "b", "c", "A", ".", "[a-b]", "[^a]", "[B-Z1]"};
    static constexpr const char* dialect[] = {"\\d", "\\w", "\\a", "\\b", "\\n"};
    static constexpr const char* perl[] = {"[0-9]", "(?:[a-zA-Z]+)", "[a-zA-Z0-9]", "[ \\t]", "(?:\\r|\\r?\\n)"};
    if (!_closed.empty() && Below(4) == 0) {
      const size_t group = _closed[Below(_closed.size())];
      if (group < 10) return Leaf("\\" + std::to_string(group), "\\g{" + std::to_string(group + 1) + "}");
    }
    const size_t which = Below(std::size(same) + std::size(dialect) + 2);
    if (which < std::size(same)) return Leaf(same[which]);
    const size_t other = which - std::size(same);
    return other < std::size(dialect) ? Leaf(dialect[other], perl[other])
                                      : Anchor(other == std::size(dialect) ? '^' : '$');
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
    const SkxExpression made = generate.Expression();
    const bool caseSensitive = generate.Below(2) == 0;
    CkxPcre pcre(made.perl, caseSensitive);
    CkxRegExp expression;
    ASSERT_TRUE(pcre.IsOk()) << made.perl;
    ASSERT_TRUE(expression.Parse(Wide(made.dialect), caseSensitive).IsOk()) << made.dialect;
    for (int round = 0; round < 10; ++round) {
      const std::string subject = generate.Subject();
      const std::string searched = pcre.Search(subject, false, made.GroupCount());
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
      const std::string what = made.dialect + " = " + made.perl + " on [" + subject + "]";
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

using Expressions = std::vector<SkxExpression>;

/// All expressions of `size` pieces, from the smaller ones in `bySize`.
Expressions ExpressionsOf(size_t size, const std::vector<Expressions>& bySize) {
  if (size == 1) return {Leaf("a"), Leaf("b"), Anchor('$')};
  Expressions all;
  for (const SkxExpression& child : bySize[size - 1]) {
    for (const char* quantifier : kQuantifiers) all.push_back(Repeat(child, quantifier));
    all.push_back(GroupOf(child));
    all.push_back(NotAhead(child));
  }
  for (size_t left = 1; left + 1 < size; ++left) {
    for (const SkxExpression& first : bySize[left]) {
      for (const SkxExpression& second : bySize[size - 1 - left]) {
        all.push_back(Sequence(first, second));
        all.push_back(Alternatives(first, second));
      }
    }
  }
  return all;
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
  std::vector<Expressions> bySize(1);
  size_t compared = 0;
  for (size_t size = 1; size <= 5; ++size) {
    bySize.push_back(ExpressionsOf(size, bySize));
    for (const SkxExpression& small : bySize.back()) {
      CkxRegExp expression;
      const SkxRegExpError error = expression.Parse(Wide(small.dialect), true);
      ASSERT_EQ(error.code, small.repeatsEmpty ? EkxRegExpError::EmptyRepeat : EkxRegExpError::Ok) << small.dialect;
      if (!error.IsOk()) continue;
      SkxRegExpTree parsed;
      SkxRegExpProgram program;
      ASSERT_TRUE(KxRegExp_ParseTree(Wide(small.dialect), parsed).IsOk());
      ASSERT_TRUE(KxRegExp_Compile(parsed, true, program).IsOk());
      CkxPcre pcre(small.perl, true);
      ASSERT_TRUE(pcre.IsOk()) << small.perl;
      for (const std::string& subject : subjects) {
        const std::string what = small.dialect + " on " + subject;
        const std::string expected = pcre.Search(subject, false, small.GroupCount());
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
