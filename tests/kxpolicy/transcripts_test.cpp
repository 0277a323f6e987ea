// The command as people see it: tests/data/transcripts/*.txt hold what is typed, what comes back, and how it ends. Each
// case begins with "== its name" and has a folder of its own, whose path is written "@". A line is one of
//
//   file NAME             a file in that folder, of the lines "| ..." that follow
//   copy NAME PATH        a file of this tree
//   folder NAME           an empty folder
//   private NAME          a file that is there, from now on its owner's alone to read and write
//   bytes NAME HEX        a file of those bytes; "00*40" is a byte 40 times
//   add NAME HEX          bytes to the end of a file
//   at NAME OFFSET HEX    bytes over others
//   cut NAME COUNT        so many bytes off the end
//   $ ARGUMENT...         a run of the command. "..." holds blanks, with \n, \t, \", \\ and \xHH; "@" begins a path
//   < > !                 a line of its standard input, of its output, of its error output
//   = CODE                its exit code, 0 when nothing is said
//   save NAME             what the last run wrote, as a file
//   same NAME NAME        two files have the same bytes
//   # ...                 a remark
//
// In what comes back "..." stands for any text, and as a line of its own for any lines.
#include <gtest/gtest.h>

#include <optional>
#include <span>

#include "tests/kxpolicy/run_tool.h"

namespace {

struct Typed {
  std::string where;
  std::vector<std::string> arguments;
  std::string in, out, err;
  int code = 0;
};

std::string Unquoted(const std::string& text, size_t& at) {
  std::string value;
  for (++at; text.at(at) != '"'; ++at) {
    if (text[at] != '\\') {
      value += text[at];
    } else if (text.at(++at) == 'x') {
      value += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
      at += 2;
    } else {
      value += text[at] == 'n' ? '\n' : text[at] == 't' ? '\t' : text[at];
    }
  }
  ++at;
  return value;
}

/// Arguments between blanks; `folder` is the place of "@".
std::vector<std::string> Split(const std::string& text, const std::string& folder) {
  std::vector<std::string> arguments;
  for (size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
    } else if (text[at] == '"') {
      arguments.push_back(Unquoted(text, at));
    } else {
      const size_t end = std::min(text.find(' ', at), text.size());
      arguments.push_back(text.substr(at, end - at));
      if (text[at] == '@') arguments.back().replace(0, 1, folder);
      at = end;
    }
  }
  return arguments;
}

std::string Bytes(const std::vector<std::string>& words, size_t first) {
  std::string bytes;
  for (size_t i = first; i < words.size(); ++i) {
    const size_t star = words[i].find('*');
    const size_t count = star == std::string::npos ? 1 : std::stoul(words[i].substr(star + 1));
    bytes.append(count, static_cast<char>(std::stoi(words[i].substr(0, 2), nullptr, 16)));
  }
  return bytes;
}

using Lines = std::vector<std::string>;

Lines LinesOf(const std::string& text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  if (!text.empty() && text.back() != '\n') lines.push_back("(without the end of the line)");
  return lines;
}

bool IsLike(std::string_view line, std::string_view pattern) {
  const size_t gap = pattern.find("...");
  if (gap == std::string_view::npos) return line == pattern;
  if (!line.starts_with(pattern.substr(0, gap))) return false;
  for (size_t at = gap; at <= line.size(); ++at) {
    if (IsLike(line.substr(at), pattern.substr(gap + 3))) return true;
  }
  return false;
}

bool AreLike(std::span<const std::string> lines, std::span<const std::string> patterns) {
  if (patterns.empty()) return lines.empty();
  const bool anyLines = patterns[0] == "...";
  if (anyLines && AreLike(lines, patterns.subspan(1))) return true;
  if (lines.empty() || (!anyLines && !IsLike(lines[0], patterns[0]))) return false;
  return AreLike(lines.subspan(1), anyLines ? patterns : patterns.subspan(1));
}

void Expect(const char* what, const std::string& found, const std::string& expected) {
  EXPECT_TRUE(AreLike(LinesOf(found), LinesOf(expected))) << what << "\n" << found << "instead of\n" << expected;
}

/// A transcript, case by case and run by run.
class Player {
 public:
  explicit Player(const std::filesystem::path& path) : _path(path) {}

  /// Returns how often the command ran.
  int Play() {
    std::ifstream in(_path, std::ios::binary);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
      if (line.ends_with('\r')) line.pop_back();  // as Git may check files out on Windows
      const std::string where = KxTest_PathText(_path) + ":" + std::to_string(++number);
      try {
        Take(line, where);
      } catch (const std::exception& fault) {
        ADD_FAILURE() << where << ": " << fault.what() << ": " << line;
      }
    }
    Run();
    return _runs;
  }

 private:
  void Take(const std::string& line, const std::string& where) {
    if (line.empty() || line[0] == '#') return;
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string key = line.substr(0, blank);
    const std::string rest = line.substr(std::min(blank + 1, line.size()));
    if (key == "|") {
      _folder->Write(_file, _folder->Read(_file) + rest + "\n");
    } else if (key == "<") {
      _typed.value().in += rest + "\n";
    } else if (key == ">") {
      _typed.value().out += rest + "\n";
    } else if (key == "!") {
      _typed.value().err += rest + "\n";
    } else if (key == "=") {
      _typed.value().code = std::stoi(rest);
    } else {
      Run();
      Begin(key, rest, where);
    }
  }

  void Begin(const std::string& key, const std::string& rest, const std::string& where) {
    if (key == "==") {
      _folder.emplace();
      _name = rest;
      return;
    }
    const std::string folder = KxTest_GenericPath(_folder.value().Path()) + "/";
    if (key == "$") {
      _typed = Typed{where + " (" + _name + ")", Split(rest, folder), "", "", "", 0};
      return;
    }
    const std::vector<std::string> words = Split(rest, folder);
    const std::filesystem::path name = words.at(0);
    if (key == "same") {
      const bool isSame = _folder->Read(name) == _folder->Read(words.at(1));
      EXPECT_TRUE(isSame && std::filesystem::exists(_folder->Path() / name)) << where;
      return;
    }
    std::filesystem::create_directories(key == "folder" ? _folder->Path() / name
                                                        : (_folder->Path() / name).parent_path());
    if (key == "folder") return;
    if (key == "private") {
      using std::filesystem::perms;
      std::filesystem::permissions(_folder->Path() / name, perms::owner_read | perms::owner_write);
      return;
    }
    std::string content = _folder->Read(name);
    if (key == "file") {
      _file = name;
      content.clear();
    } else if (key == "copy") {
      std::ifstream original(words.at(1), std::ios::binary);
      content.assign(std::istreambuf_iterator<char>(original), {});
    } else if (key == "save") {
      content = _lastOut;
    } else if (key == "bytes") {
      content = Bytes(words, 1);
    } else if (key == "add") {
      content += Bytes(words, 1);
    } else if (key == "at") {
      const std::string bytes = Bytes(words, 2);
      content.replace(std::stoul(words.at(1)), bytes.size(), bytes);
    } else if (key == "cut") {
      content.resize(content.size() - std::stoul(words.at(1)));
    } else {
      throw std::runtime_error("is no line of a transcript");
    }
    _folder->Write(name, content);
  }

  void Run() {
    if (!_typed) return;
    const Typed typed = *std::exchange(_typed, std::nullopt);
    SCOPED_TRACE(typed.where);
    const SkxToolRun run = KxTest_RunTool(typed.arguments, typed.in);
    EXPECT_EQ(run.code, typed.code);
    Expect("wrote", Shown(run.out), typed.out);
    Expect("complained", Shown(run.err), typed.err);
    _lastOut = run.out;
    ++_runs;
  }

  /// With "@" in the place of the folder, and "/" in the paths behind it, whatever the system writes.
  std::string Shown(std::string text) const {
    const std::filesystem::path within = _folder->Path() / "";
    for (const std::string& folder : {KxTest_PathText(within), KxTest_GenericPath(within)}) {
      for (size_t at = text.find(folder); at != text.npos; at = text.find(folder, at)) {
        text.replace(at, folder.size(), "@");
        while (++at < text.size() && std::string_view(" :\"\n").find(text[at]) == std::string_view::npos) {
          if (text[at] == '\\') text[at] = '/';
        }
      }
    }
    return text;
  }

  const std::filesystem::path _path;
  std::optional<CkxTempFolder> _folder;
  std::string _name;
  std::filesystem::path _file;
  std::optional<Typed> _typed;
  std::string _lastOut;
  int _runs = 0;
};

TEST(Transcripts, GoAsTheyAreWritten) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("tests/data/transcripts")) {
    EXPECT_GT(Player(entry.path()).Play(), 0) << entry.path();
    ++count;
  }
  EXPECT_GT(count, 0) << "tests run at the root of the sources";
}

}  // namespace
