#include <iconv.h>

#include <cerrno>
#include <new>

#include "Common_CPP/util/code_page.h"

namespace {

class Converter {
 public:
  explicit Converter(unsigned codePage)
      : _converter(iconv_open("UTF-16LE", ("CP" + std::to_string(codePage)).c_str())) {
    if (!IsOpen() && errno == ENOMEM) throw std::bad_alloc();  // which does not mean that it is unknown
  }
  ~Converter() {
    if (IsOpen()) iconv_close(_converter);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool IsOpen() const { return reinterpret_cast<intptr_t>(_converter) != -1; }

  /// All of `from`, or nothing.
  std::optional<KxWString> Convert(std::span<const unsigned char> from) const {
    KxWString to(from.size(), WCHAR{});  // no byte of a code page becomes more than a unit
    auto* in = const_cast<char*>(reinterpret_cast<const char*>(from.data()));  // which iconv does not write to
    auto* out = reinterpret_cast<char*>(to.data());
    size_t inLeft = from.size();
    size_t outLeft = to.size() * sizeof(WCHAR);
    if (iconv(_converter, &in, &inLeft, &out, &outLeft) != 0) return std::nullopt;  // also what had to be guessed
    to.resize(to.size() - outLeft / sizeof(WCHAR));
    return to;
  }

 private:
  const iconv_t _converter;
};

}  // namespace

std::optional<KxWString> KxText_FromSystemCodePage(std::span<const unsigned char> bytes, unsigned codePage) {
  const Converter converter(codePage);
  return converter.IsOpen() ? converter.Convert(bytes) : std::nullopt;
}
