// Where verbs read from: files, and standard input under the name "-".
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "tools/kxpolicy/input_buffer.h"

/// What is behind a path in UTF-8, or `standardInput` for "-". One that cannot be opened is unusable input.
class CkxInput {
 public:
  static constexpr size_t kMaxDocumentBytes = size_t{256} << 20;

  CkxInput(const std::string& path, std::istream& standardInput);

  bool IsStandardInput() const { return _file == nullptr; }

  /// Unpacked where it is packed. One that cannot be read to its end is unusable input, which reading it throws.
  std::istream& Stream() { return _stream; }
  const std::string& Name() const { return _name; }

  /// In bytes as they lie there, of a file; 0 for what nobody knows the size of. And how many of them were taken.
  uint64_t Size() const { return _size; }
  uint64_t Taken() const { return _buffer.Taken(); }

  /// All of it, up to a limit that no document needs: of the stream, without a byte order mark, or the bytes as they
  /// are.
  std::string ReadAll();
  std::string ReadAllBytes();

 private:
  std::string AllOf(std::istream& stream) const;

  const std::string _name;
  uint64_t _size = 0;
  const std::unique_ptr<std::istream> _file;
  std::istream& _raw;
  CkxInputBuffer _buffer;
  std::istream _stream;
};

/// Unusable arguments when more than one of `paths` is "-": it can be read only once.
void KxInput_CheckStandardInput(const std::vector<std::string>& paths);

/// The lines of a stream, one at a time and of bounded length, so that a stream of any size takes constant memory. A
/// byte order mark before the first line, a carriage return at a line's end and blank lines are passed over.
class CkxLineReader {
 public:
  static constexpr size_t kMaxLineBytes = size_t{16} << 20;

  explicit CkxLineReader(std::istream& stream, std::string name = "the stream")
      : _stream(stream), _name(std::move(name)) {}
  explicit CkxLineReader(CkxInput& input, size_t maxLineBytes = kMaxLineBytes)
      : _stream(input.Stream()), _name(input.Name()), _maxLineBytes(maxLineBytes) {}

  /// False at the end. A line over the limit comes back cut, with `TooLong`. A stream that fails before its end is
  /// unusable input: what is left of it is not known.
  bool Next(std::string& line);
  bool TooLong() const { return _tooLong; }
  size_t Number() const { return _number; }  ///< of the line handed out last, from 1

 private:
  bool ReadLine(std::string& line);
  void Append(std::string& line, std::string_view part);

  std::istream& _stream;
  const std::string _name;
  const size_t _maxLineBytes = kMaxLineBytes;
  std::vector<char> _block = std::vector<char>(size_t{64} << 10);
  size_t _number = 0;
  bool _tooLong = false;
};
