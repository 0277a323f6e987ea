#include "Common_CPP/process/proc_text_posix.h"

#include <charconv>

#include "Common_CPP/util/text.h"

namespace {

constexpr uint64_t kKernelThread = 0x00200000;  // among the flags of stat

/// Takes a number off the front of `text`, with the blanks before it.
template <class Number>
bool TakeNumber(std::string_view& text, Number& number) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return text.empty() || text.front() == ' ' || text.front() == '\t' || text.front() == '\n';
}

bool SkipFields(std::string_view& text, int count) {
  for (int64_t number = 0; count > 0; --count) {
    if (!TakeNumber(text, number)) return false;
  }
  return true;
}

/// What follows "NAME:" at the beginning of a line, up to the line's end.
std::optional<std::string_view> Line(std::string_view text, std::string_view name) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = text.substr(at, end - at);
    if (line.starts_with(name) && line.substr(name.size()).starts_with(':')) return line.substr(name.size() + 1);
    at = end + 1;
  }
  return std::nullopt;
}

KxWString ToText(std::string_view bytes) {
  if (std::optional<KxWString> text = KxText_FromUtf8(bytes)) return *std::move(text);
  KxWString text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte) < 0x80 ? static_cast<WCHAR>(byte) : 0xFFFD;
  return text;
}

bool HasAny(const KxWString& text, KxWStringView units) { return text.find_first_of(units) != KxWString::npos; }

/// A program ends at its second quote, or without quotes at the first blank; nothing escapes anything.
void AppendProgram(KxWString& line, KxWString program) {
  const bool isQuoted = program.empty() || HasAny(program, KXW(" \t")) || program.front() == KXW('"');
  if (isQuoted) std::erase(program, KXW('"'));
  line += isQuoted ? KXW('"') + program + KXW('"') : program;
}

/// In quotes where it has to be; there, backslashes are doubled before a quote and at the end.
void AppendArgument(KxWString& line, const KxWString& argument) {
  line += KXW(' ');
  if (!argument.empty() && !HasAny(argument, KXW(" \t\""))) {
    line += argument;
    return;
  }
  line += KXW('"');
  size_t backslashes = 0;
  for (const WCHAR unit : argument) {
    if (unit == KXW('"')) line.append(backslashes + 1, KXW('\\'));
    backslashes = unit == KXW('\\') ? backslashes + 1 : 0;
    line += unit;
  }
  line.append(backslashes, KXW('\\'));
  line += KXW('"');
}

}  // namespace

std::optional<SkxProcStat> KxProc_ParseStat(std::string_view text) {
  SkxProcStat stat;
  const size_t name = text.rfind(')');
  if (name == std::string_view::npos || text.size() - name < 4 || text[name + 1] != ' ') return std::nullopt;
  stat.state = text[name + 2];
  text.remove_prefix(name + 3);
  uint64_t flags = 0;
  const bool isRead = TakeNumber(text, stat.parent) && SkipFields(text, 4) && TakeNumber(text, flags) &&
                      SkipFields(text, 12) && TakeNumber(text, stat.startTicks);
  stat.isKernelThread = (flags & kKernelThread) != 0;
  return isRead ? std::optional(stat) : std::nullopt;
}

std::optional<SkxProcStatus> KxProc_ParseStatus(std::string_view text) {
  const auto threadGroup = Line(text, "Tgid");
  auto users = Line(text, "Uid");
  auto groups = Line(text, "Gid");
  if (!threadGroup || !users || !groups) return std::nullopt;
  SkxProcStatus status;
  std::string_view number = *threadGroup;
  gid_t group = 0;
  if (!TakeNumber(number, status.threadGroup) || !SkipFields(*users, 1) || !TakeNumber(*users, status.effectiveUser) ||
      !SkipFields(*groups, 1) || !TakeNumber(*groups, group)) {
    return std::nullopt;
  }
  std::string_view others = Line(text, "Groups").value_or("");
  for (gid_t other = 0; TakeNumber(others, other);) status.groups.push_back(other);
  status.groups.push_back(group);
  return status;
}

KxWString KxProc_CommandLine(std::string_view arguments) {
  KxWString line;
  for (bool isProgram = true; !arguments.empty(); isProgram = false) {
    const size_t end = std::min(arguments.find('\0'), arguments.size());
    KxWString argument = ToText(arguments.substr(0, end));
    if (isProgram) {
      AppendProgram(line, std::move(argument));
    } else {
      AppendArgument(line, argument);
    }
    arguments.remove_prefix(std::min(end + 1, arguments.size()));
  }
  return line;
}

bool KxProc_TakeDeletedMark(std::string_view& image) {
  constexpr std::string_view kMark = " (deleted)";
  if (!image.ends_with(kMark)) return false;
  image.remove_suffix(kMark.size());
  return true;
}
