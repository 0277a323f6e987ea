#include "tools/kxpolicy/input.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "Common_CPP/util/error_words.h"
#include "Common_CPP/util/last_error.h"
#include "tools/kxpolicy/tool.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// By its byte order mark, as editors of some systems write it, or because it begins with two letters of ASCII.
bool IsUtf16(std::string_view text) {
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) return true;
  if (text.size() < 4) return false;
  const size_t high = text[0] == '\0' ? 0 : 1;
  const size_t low = 1 - high;
  return text[high] == '\0' && text[high + 2] == '\0' && text[low] != '\0' && text[low + 2] != '\0';
}

/// As the call has just failed.
CkxToolFault InputFault(const std::string& path, const std::string& what) {
  KxLastError_SetFromSystem();
  return CkxToolFault(EkxExit::UnusableInput, path + ": " + what + ": " + KxError_Words());
}

std::unique_ptr<std::istream> OpenFile(const std::string& path, uint64_t& size) {
  const std::filesystem::path name(std::u8string(path.begin(), path.end()));
  std::error_code error;
  if (std::filesystem::is_directory(name, error)) throw CkxToolFault(EkxExit::UnusableInput, path + ": is a folder");
  auto file = std::make_unique<std::ifstream>(name, std::ios::binary);
  if (!*file) throw InputFault(path, "cannot be opened");
  if (std::filesystem::is_regular_file(name, error)) {
    const uintmax_t bytes = std::filesystem::file_size(name, error);
    if (!error) size = bytes;
  }
  return file;
}

}  // namespace

CkxInput::CkxInput(const std::string& path, std::istream& standardInput)
    : _name(path == "-" ? "standard input" : path),
      _file(path == "-" ? nullptr : OpenFile(path, _size)),
      _raw(_file != nullptr ? *_file : standardInput),
      _buffer(*_raw.rdbuf(), _name),
      _stream(&_buffer) {
  _stream.exceptions(std::ios::badbit);
}

std::string CkxInput::ReadAll() {
  std::string text = AllOf(_stream);
  if (IsUtf16(text)) throw CkxToolFault(EkxExit::UnusableInput, _name + ": is UTF-16; it must be UTF-8");
  return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

std::string CkxInput::ReadAllBytes() { return AllOf(_raw); }

std::string CkxInput::AllOf(std::istream& stream) const {
  std::string text;
  std::string block(size_t{64} << 10, '\0');
  while (stream.read(block.data(), static_cast<std::streamsize>(block.size())), stream.gcount() > 0) {
    text.append(block, 0, static_cast<size_t>(stream.gcount()));
    if (text.size() > kMaxDocumentBytes) throw CkxToolFault(EkxExit::UnusableInput, _name + ": is too large");
  }
  if (stream.bad()) throw InputFault(_name, "cannot be read");
  return text;
}

void KxInput_CheckStandardInput(const std::vector<std::string>& paths) {
  if (std::count(paths.begin(), paths.end(), "-") <= 1) return;
  throw CkxToolFault(EkxExit::UnusableArguments, "standard input can be read only once");
}

bool CkxLineReader::Next(std::string& line) {
  while (ReadLine(line)) {
    ++_number;
    if (_number == 1 && IsUtf16(line)) {
      throw CkxToolFault(EkxExit::UnusableInput, _name + ": is UTF-16; it must be UTF-8");
    }
    if (_number == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
    if (line.ends_with('\r')) line.pop_back();
    if (_tooLong || line.find_first_not_of(" \t") != std::string::npos) return true;
  }
  return false;
}

bool CkxLineReader::ReadLine(std::string& line) {
  line.clear();
  _tooLong = false;
  for (;;) {
    _stream.getline(_block.data(), static_cast<std::streamsize>(_block.size()));
    if (_stream.bad()) throw CkxToolFault(EkxExit::UnusableInput, _name + ": cannot be read");
    const auto taken = static_cast<size_t>(_stream.gcount());
    const bool ended = _stream.good();  // by a line end, which was taken, but is not in the block
    Append(line, std::string_view(_block.data(), ended ? taken - 1 : taken));
    if (ended) return true;
    const bool full = taken == _block.size() - 1 && _stream.rdstate() == std::ios::failbit;
    if (!full) return !line.empty();
    _stream.clear();
  }
}

void CkxLineReader::Append(std::string& line, std::string_view part) {
  const size_t left = _maxLineBytes - line.size();
  if (part.size() > left) _tooLong = true;
  line += part.substr(0, left);
}
