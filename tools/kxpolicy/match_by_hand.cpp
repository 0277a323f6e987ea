#include "tools/kxpolicy/match_by_hand.h"

#include <kx_util/kx_util.h>

#include <ostream>

#include "Agent/engine/kx_publish/document/nearest.h"
#include "Agent/engine/kx_util/match/compare_modes.h"
#include "Agent/engine/kx_util/regexp/regexp.h"
#include "Common_CPP/util/printable.h"
#include "Common_CPP/util/text.h"
#include "tools/kxpolicy/input.h"

namespace {

std::string ModeNames() {
  std::string names;
  for (const SkxCompareMode& mode : kKxCompareModes) names += (names.empty() ? "" : ", ") + std::string(mode.key);
  return names;
}

EkxStrCompareAs ModeOf(const std::string& text) {
  for (const SkxCompareMode& mode : kKxCompareModes) {
    if (text == mode.key || text == std::to_string(static_cast<unsigned>(mode.code))) return mode.code;
  }
  throw CkxToolFault(EkxExit::UnusableArguments, "--mode: \"" + text + "\" is no mode; there are " + ModeNames() +
                                                     KxNearest_QuestionOf(text, kKxCompareModes, &SkxCompareMode::key));
}

KxWString FromArgument(const std::string& text) {
  std::optional<KxWString> wide = KxText_FromUtf8(text);
  if (!wide) throw CkxToolFault(EkxExit::UnusableArguments, "\"" + text + "\" is not UTF-8");
  return *std::move(wide);
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
  err << "  " << KxText_Printable(pattern) << "\n  " << BlanksBelow(pattern.Part(0, at)) << "^ "
      << KxRegExp_ErrorText(error.code) << " (error " << static_cast<uint32_t>(error.code) << ")\n";
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

/// The lines of standard input that match, as they are; on a terminal they are printable.
EkxExit Filter(CkxTextView pattern, EkxStrCompareAs mode, bool caseSensitive, SkxStreams& streams) {
  CkxLineReader lines(streams.in);
  EkxExit code = EkxExit::Done;
  for (std::string line; lines.Next(line);) {
    const std::optional<KxWString> wide = lines.TooLong() ? std::nullopt : KxText_FromUtf8(line);
    if (!wide) {
      streams.err << "kxpolicy: standard input:" << lines.Number() << ": is "
                  << (lines.TooLong() ? "too long" : "not UTF-8") << '\n';
      code = EkxExit::UnusableInput;
    } else if (KxUtil_MatchStr(pattern, *wide, caseSensitive, mode)) {
      streams.out << (streams.outIsTerminal ? KxText_Printable(*wide) : line) << '\n';
      if (!streams.out || streams.outIsTerminal) KxTool_RequireOutput(streams);
    }
  }
  return code;
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
  if (request.texts.empty()) return Filter(pattern, mode, request.caseSensitive, streams);
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
