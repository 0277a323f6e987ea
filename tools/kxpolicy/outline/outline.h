// What the command understands, in plain values: its verbs and their options as the parser has them. The manual and the
// completion of shells are made from it, so that neither can say anything else.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

/// How help calls a value that names something on the disk.
inline constexpr const char* kKxFileValue = "FILE";
inline constexpr const char* kKxFolderValue = "FOLDER";
inline constexpr const char* kKxPathValue = "PATH";

struct SkxOptionOutline {
  std::vector<std::string> names;   ///< "-o", "--output"; of one that is told by its place the word that stands for it
  std::string help;                 ///< one line
  std::string value;                ///< how help calls its value; empty for one that has none
  std::vector<std::string> values;  ///< those that are allowed; empty: any
  std::string choice;               ///< what is chosen by giving exactly one of those that share it; empty: nothing
  bool isPlaced = false;            ///< told by its place
  bool isRequired = false;
  bool isRepeated = false;  ///< several values may stand behind each other
};

/// The command, a group or a verb.
struct SkxVerbOutline {
  std::string name;
  std::string summary;
  std::string footer;  ///< lines, or empty: those of the command go for its verbs too
  std::vector<SkxOptionOutline> options;
  std::vector<SkxVerbOutline> verbs;  ///< of the command or a group
};

SkxVerbOutline KxOutline_Of(const CLI::App& app);
