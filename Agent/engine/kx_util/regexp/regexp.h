// Regular expressions over UTF-16 units, in the dialect that policies are written in.
//
//   CkxRegExp expression;
//   if (const SkxRegExpError error = expression.Parse(KXW("setup\\z.exe|install.*"), false); !error.IsOk()) ...
//   if (expression.MatchWhole(name)) ...
//
//   .              any one unit, line ends and NUL included
//   [abc] [^0-9]   class and negated class; `\` takes the next unit literally, `-` first or last is literal
//   x? x+ x*       0 to 1, 1 to n, 0 to n, as many as possible; with a further `?` as few as possible
//   x|y            x, or else y; binds loosest
//   (x)            grouping only
//   {x}            match group, numbered from 0 by its opening brace; there are no counted repeats
//   \0 to \9       the text of that match group, which must be closed by then; fails while the group has none
//   !x             not followed by x (one expression with its quantifier); takes nothing
//   ^ $            start (end) of the input as the first (last) unit of an alternative, else literals
//   \a \b \c \d \h \n \q \w \z   abbreviations: letter or digit, blank, letter, digit, hex digit, line end, quoted
//                  text, word, integer
//   \x             any other x literally
//
// Matching takes time in proportion to subject units times expression size, whatever the expression, unless it has
// back-references: these are tried by backtracking for kxRegExpMaxSteps steps. Past that, and for a subject over the
// limits, there is no answer: no match, a fault noted for the evaluation, and an error in the trace. What matching
// takes is spent from what the evaluation may cost.
#pragma once

#include <memory>
#include <vector>

#include "Common_CPP/util/text_view.h"

inline constexpr size_t kxRegExpMaxPattern = 32768;             ///< units
inline constexpr size_t kxRegExpMaxProgram = 16384;             ///< instructions, about one for each pattern unit
inline constexpr size_t kxRegExpMaxGroups = 64;                 ///< match groups
inline constexpr size_t kxRegExpMaxDepth = 200;                 ///< groups and `!` inside each other
inline constexpr size_t kxRegExpMaxSubject = size_t{1} << 20;   ///< units
inline constexpr uint64_t kxRegExpMaxWork = uint64_t{1} << 29;  ///< subject units times instructions
inline constexpr uint32_t kxRegExpMaxSteps = 1'000'000;         ///< of backtracking, per call

/// Why an expression did not parse. The numbers are what traces show as REParseError.
enum class EkxRegExpError : uint32_t {
  Ok = 0,
  OutOfMemory = 1,      ///< over one of the limits above
  BraceExpected = 2,    ///< `{` is not closed
  ParenExpected = 3,    ///< `(` is not closed
  BracketExpected = 4,  ///< `[` is not closed
  Unexpected = 5,       ///< nothing to quantify or negate, a quantifier on a quantifier, a lone `)`, `}` or last `\`
  EmptyRange = 6,       ///< `[]`
  InvalidGroup = 7,     ///< a back-reference to a group that is not there, or not closed yet
  InvalidRange = 8,     ///< `[z-a]`
  EmptyRepeat = 9,      ///< a quantifier on what can match the empty text
  InvalidInput = 10,    ///< the pattern is "no value"
};

/// In words, as people who wrote the expression are told; empty for no error.
const char* KxRegExp_ErrorText(EkxRegExpError error);

struct SkxRegExpError {
  EkxRegExpError code = EkxRegExpError::Ok;
  size_t position = 0;  ///< unit offset of the offending piece in the pattern

  bool IsOk() const { return code == EkxRegExpError::Ok; }
};

/// A part of the subject, in units; a match group that took no part in the match is at npos.
struct SkxRegExpSpan {
  size_t start = CkxTextView::npos;
  size_t end = CkxTextView::npos;
};

struct SkxRegExpMatch {
  size_t start = 0;
  size_t end = 0;  ///< just past the last matched unit
  std::vector<SkxRegExpSpan> groups;
};

struct SkxRegExpProgram;

/// A compiled expression, which is wiped when it ends: patterns are secrets of their policies. Matching changes nothing
/// in it: threads may share one. Until a Parse succeeds nothing matches.
///
/// Of the matches from one start there is one *preferred*: the one that a backtracking engine meets first, by taking
/// the first alternative before the second and more repeats before fewer (with a further `?`: fewer before more).
class CkxRegExp {
 public:
  CkxRegExp();
  ~CkxRegExp();
  CkxRegExp(CkxRegExp&&) noexcept;
  CkxRegExp& operator=(CkxRegExp&&) noexcept;

  /// Compiles `pattern`, of which nothing is kept. After an error nothing matches, whatever was parsed before.
  SkxRegExpError Parse(CkxTextView pattern, bool caseSensitive);

  /// Searches: the preferred match of the leftmost start that has one. `match` is written on success only.
  bool Match(CkxTextView subject, SkxRegExpMatch& match) const;

  /// The length of the preferred match at the subject's start; `length` is written on success only.
  bool MatchPrefix(CkxTextView subject, size_t& length) const;

  /// Whether the preferred match at the subject's start is as long as the subject. Only that one match counts: `a|ab`
  /// does not match "ab" as a whole, since its first alternative matches with length 1; `ab|a` does.
  bool MatchWhole(CkxTextView subject) const;

 private:
  std::unique_ptr<const SkxRegExpProgram> _program;
};
