#include "tools/kxpolicy/match_by_hand.h"

#include <kx_util/kx_util.h>

#include <array>
#include <ostream>

#include "Agent/engine/kx_util/regexp/regexp.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"

namespace {

struct ModeName {
  std::string_view name;
  std::string_view number;
  EkxStrCompareAs mode;
};
constexpr std::array<ModeName, 5> kModes = {{
    {"equals", "1", EkxStrCompareAs::StrEquals},
    {"startsWith", "2", EkxStrCompareAs::StrStartsWith},
    {"contains", "3", EkxStrCompareAs::StrContains},
    {"wildcard", "4", EkxStrCompareAs::StrWildcard},
    {"regExp", "5", EkxStrCompareAs::StrRegExp},
}};

struct ErrorName {
  EkxRegExpError code;
  const char* name;
};
constexpr std::array<ErrorName, 10> kErrors = {{
    {EkxRegExpError::OutOfMemory, "the expression is too large"},
    {EkxRegExpError::BraceExpected, "\"{\" is not closed"},
    {EkxRegExpError::ParenExpected, "\"(\" is not closed"},
    {EkxRegExpError::BracketExpected, "\"[\" is not closed"},
    {EkxRegExpError::Unexpected, "unexpected here"},
    {EkxRegExpError::EmptyRange, "a class without members"},
    {EkxRegExpError::InvalidGroup, "no such match group, or it is not closed yet"},
    {EkxRegExpError::InvalidRange, "the range runs backwards"},
    {EkxRegExpError::EmptyRepeat, "repeats what may be empty"},
    {EkxRegExpError::InvalidInput, "not an expression"},
}};

EkxStrCompareAs ModeOf(const std::string& text) {
  for (const ModeName& row : kModes) {
    if (text == row.name || text == row.number) return row.mode;
  }
  throw CkxToolFault(EkxExit::UnusableArguments, "--mode: \"" + text + "\" is no mode");
}

KxWString FromArgument(const std::string& text) {
  std::optional<KxWString> wide = KxText_FromUtf8(text);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + text + "\" is not UTF-8");
  return *std::move(wide);
}

const char* NameOf(EkxRegExpError code) {
  for (const ErrorName& row : kErrors) {
    if (code == row.code) return row.name;
  }
  return "is no expression";
}

/// As wide as `text` on a terminal, so that what follows stands under its end.
std::string BlanksBelow(CkxTextView text) {
  std::string blanks;
  for (const char unit : KxText_Printable(text)) {
    if ((static_cast<unsigned char>(unit) & 0xC0) != 0x80) blanks += ' ';
  }
  return blanks;
}

void ShowError(CkxTextView pattern, const SkxRegExpError& error, std::ostream& err) {
  const size_t at = std::min(error.position, pattern.Size());
  err << "  " << KxText_Printable(pattern) << "\n  " << BlanksBelow(pattern.Part(0, at)) << "^ " << NameOf(error.code)
      << " (error " << static_cast<uint32_t>(error.code) << ")\n";
}

std::string Quoted(CkxTextView part) { return "\"" + KxText_Printable(part) + "\""; }

/// The part that a match is about.
CkxTextView MatchedPart(EkxStrCompareAs mode, CkxTextView pattern, CkxTextView text, bool caseSensitive) {
  if (mode == EkxStrCompareAs::StrStartsWith) return text.Part(0, pattern.Size());
  if (mode == EkxStrCompareAs::StrContains) return text.Part(KxText_Find(text, pattern, caseSensitive), pattern.Size());
  return text;
}

/// The usual surprise with expressions: one that is met by a part of the text does not match, since the whole text must
/// meet it.
std::string PartialMatch(const CkxRegExp& expression, CkxTextView text) {
  SkxRegExpMatch match;
  if (!expression.Match(text, match)) return {};
  return "  (only " + Quoted(text.Part(match.start, match.end - match.start)) + " does)";
}

}  // namespace

EkxExit KxMatch_ByHand(const SkxMatchByHand& request, SkxStreams& streams) {
  const EkxStrCompareAs mode = ModeOf(request.mode);
  const KxWString pattern = FromArgument(request.pattern);
  CkxRegExp expression;
  if (mode == EkxStrCompareAs::StrRegExp) {
    const SkxRegExpError error = expression.Parse(pattern, request.caseSensitive);
    if (!error.IsOk()) {
      ShowError(pattern, error, streams.err);
      return EkxExit::UnusableInput;
    }
  }
  for (const std::string& argument : request.texts) {
    const KxWString wide = FromArgument(argument);
    const CkxTextView text = KxText_Trim(wide);
    if (KxUtil_MatchStr(pattern, wide, request.caseSensitive, mode)) {
      const CkxTextView part = MatchedPart(mode, pattern, text, request.caseSensitive);
      streams.out << "match     " << KxText_Printable(argument) << "  " << Quoted(part) << '\n';
    } else {
      streams.out << "no match  " << KxText_Printable(argument) << PartialMatch(expression, text) << '\n';
    }
  }
  return EkxExit::Done;
}
