#include "tools/kxpolicy/input.h"

#include <filesystem>
#include <fstream>

#include "tools/kxpolicy/tool.h"

namespace {

constexpr size_t kMaxDocumentBytes = size_t{256} << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::unique_ptr<std::istream> OpenFile(const std::string& path) {
  const std::filesystem::path name(std::u8string(path.begin(), path.end()));
  std::error_code error;
  if (std::filesystem::is_directory(name, error)) throw CkxToolFault(EkxExit::UnusableInput, path + ": is a folder");
  auto file = std::make_unique<std::ifstream>(name, std::ios::binary);
  if (!*file) throw CkxToolFault(EkxExit::UnusableInput, path + ": cannot be opened");
  return file;
}

}  // namespace

CkxInput::CkxInput(const std::string& path, std::istream& standardInput)
    : _name(path == "-" ? "standard input" : path),
      _file(path == "-" ? nullptr : OpenFile(path)),
      _standardInput(standardInput) {}

std::string CkxInput::ReadAll() {
  std::string text;
  std::string block(size_t{64} << 10, '\0');
  while (Stream().read(block.data(), static_cast<std::streamsize>(block.size())), Stream().gcount() > 0) {
    text.append(block, 0, static_cast<size_t>(Stream().gcount()));
    if (text.size() > kMaxDocumentBytes) throw CkxToolFault(EkxExit::UnusableInput, _name + ": is too large");
  }
  if (Stream().bad()) throw CkxToolFault(EkxExit::UnusableInput, _name + ": cannot be read");
  return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

bool CkxLineReader::Next(std::string& line) {
  while (ReadLine(line)) {
    ++_number;
    if (_number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
    if (line.ends_with('\r')) line.pop_back();
    if (_tooLong || line.find_first_not_of(" \t") != std::string::npos) return true;
  }
  return false;
}

bool CkxLineReader::ReadLine(std::string& line) {
  line.clear();
  _tooLong = false;
  std::streambuf& buffer = *_stream.rdbuf();
  using Traits = std::char_traits<char>;
  for (auto next = buffer.sbumpc(); !Traits::eq_int_type(next, Traits::eof()); next = buffer.sbumpc()) {
    const char unit = Traits::to_char_type(next);
    if (unit == '\n') return true;
    if (line.size() < kMaxLineBytes) {
      line += unit;
    } else {
      _tooLong = true;
    }
  }
  return !line.empty();
}
