#include "tools/kxpolicy/outline/manual.h"

#include <algorithm>
#include <sstream>

namespace {

/// Text that stands for itself. A dash is one that can be copied to a command line.
std::string Plain(const std::string& text) {
  std::string plain;
  for (const char c : text) {
    if (c == '\\') plain += "\\e";
    if (c == '-') plain += "\\-";
    if (c == '~') plain += "\\(ti";
    if (c == '^') plain += "\\(ha";
    if (c == '\'') plain += "\\(aq";
    if (std::string_view("\\-~^'").find(c) == std::string_view::npos) plain += c;
  }
  return plain.starts_with('.') ? "\\&" + plain : plain;
}

std::string Bold(const std::string& text) { return "\\fB" + Plain(text) + "\\fR"; }

std::string Italic(const std::string& text) { return "\\fI" + Plain(text) + "\\fR"; }

std::string Joined(const std::vector<std::string>& texts, const std::string& between) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : between) + text;
  return joined;
}

/// "text|json", or how help calls the value.
std::string Value(const SkxOptionOutline& option) {
  return option.values.empty() ? Italic(option.value) : Joined(option.values, "|");
}

/// "-o, --output FILE", "--explain[=all|close]", "image ...".
std::string Term(const SkxOptionOutline& option) {
  if (option.isPlaced) return Italic(option.names[0]) + (option.isRepeated ? " ..." : "");
  std::vector<std::string> names;
  for (const std::string& name : option.names) names.push_back(Bold(name));
  std::string term = Joined(names, ", ");
  if (!option.value.empty()) {
    term += " " + Value(option) + (option.isRepeated ? " ..." : "");
  } else if (!option.values.empty()) {
    term += "[=" + Value(option) + "]";
  }
  return term;
}

/// What the command's own section says for all verbs.
bool IsHelp(const SkxOptionOutline& option) {
  return std::find(option.names.begin(), option.names.end(), "--help") != option.names.end();
}

/// Of the options those that must be given; the others are listed below it.
void WriteSynopsis(const std::string& words, const SkxVerbOutline& verb, std::ostream& out) {
  out << ".PP\n" << Bold(words) << " [" << Italic("options") << "]";
  std::vector<std::string> choices;
  for (const SkxOptionOutline& option : verb.options) {
    const bool isChoice = !option.choice.empty();
    if (isChoice && std::find(choices.begin(), choices.end(), option.choice) == choices.end()) {
      choices.push_back(option.choice);
      std::vector<std::string> terms;
      for (const SkxOptionOutline& each : verb.options) {
        if (each.choice == option.choice) terms.push_back(Term(each));
      }
      out << " {" << Joined(terms, " | ") << "}";
    } else if (!isChoice && (option.isPlaced || option.isRequired)) {
      out << (option.isRequired ? " " + Term(option) : " [" + Term(option) + "]");
    }
  }
  out << "\n";
}

void WriteOption(const SkxOptionOutline& option, std::ostream& out) {
  out << ".TP\n" << Term(option) << "\n" << Plain(option.help) << "\n";
}

/// Examples stand as they are typed.
void WriteFooter(const std::string& footer, std::ostream& out) {
  constexpr std::string_view kExample = "Example: ";
  std::istringstream lines(footer);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kExample)) {
      out << ".PP\nExample:\n.PP\n.nf\n.RS\n" << Plain(line.substr(kExample.size())) << "\n.RE\n.fi\n";
    } else if (!line.empty()) {
      out << ".PP\n" << Plain(line) << "\n";
    }
  }
}

void WriteVerb(const std::string& group, const SkxVerbOutline& verb, std::ostream& out) {
  const std::string words = group + " " + verb.name;
  if (!verb.verbs.empty()) {
    for (const SkxVerbOutline& each : verb.verbs) WriteVerb(words, each, out);
    return;
  }
  out << ".SS " << Plain(words.substr(words.find(' ') + 1)) << "\n" << Plain(verb.summary) << ".\n";
  WriteSynopsis(words, verb, out);
  for (const SkxOptionOutline& option : verb.options) {
    if (!IsHelp(option)) WriteOption(option, out);
  }
  WriteFooter(verb.footer, out);
}

}  // namespace

std::string KxManual_Of(const SkxVerbOutline& command, const std::string& version) {
  std::ostringstream out;
  const std::string& name = command.name;
  out << ".\\\" Made by " << name << " man.\n"
      << ".TH KXPOLICY 1 \"\" \"" << Plain(name + " " + version) << "\" \"User Commands\"\n"
      << ".SH NAME\n"
      << Plain(name) << " \\- compile, check and evaluate endpoint policies\n"
      << ".SH SYNOPSIS\n"
      << Bold(name) << " [" << Italic("options") << "] " << Italic("verb") << " ...\n"
      << ".SH DESCRIPTION\n"
      << Plain(command.summary) << "\n"
      << "A verb says what is done. Where it takes a file, \\- stands for standard input.\n"
      << ".SH OPTIONS\nThey may stand before the verb or behind it.\n";
  for (const SkxOptionOutline& option : command.options) WriteOption(option, out);
  out << ".SH VERBS\n";
  for (const SkxVerbOutline& verb : command.verbs) WriteVerb(name, verb, out);
  out << ".SH EXIT STATUS\n"
      << Plain(command.footer) << "\n"
      << ".SH ENVIRONMENT\n.TP\n"
      << Bold("KX_TRACE") << "\nLike " << Bold("--trace") << ", which goes before it.\n";
  return out.str();
}
