// Streams of any length for the benchmarks of stream verbs, without the memory for them.
#pragma once

#include <cstdint>
#include <istream>
#include <streambuf>
#include <string_view>

/// The same text again and again.
class RepeatedText : public std::streambuf {
 public:
  RepeatedText(std::string_view text, int64_t times) : _text(text), _left(times) {}

 protected:
  int_type underflow() override {
    if (_left-- == 0) return traits_type::eof();
    char* const begin = const_cast<char*>(_text.data());
    setg(begin, begin, begin + _text.size());
    return traits_type::to_int_type(*begin);
  }

 private:
  const std::string_view _text;
  int64_t _left;
};

class Nowhere : public std::streambuf {
 protected:
  int_type overflow(int_type unit) override { return traits_type::not_eof(unit); }
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
};
