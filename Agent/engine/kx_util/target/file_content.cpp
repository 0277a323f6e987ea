#include "Agent/engine/kx_util/target/file_content.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

#include "Common_CPP/file/byte_source.h"

namespace {

using namespace std::string_view_literals;

struct SkxBeginning {
  std::string_view bytes;
  EkxFileContent content;
};

constexpr SkxBeginning kBeginnings[] = {
    {"MZ"sv, EkxFileContent::Program},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, EkxFileContent::CompoundFile},
    {"MSCF\0\0\0\0"sv, EkxFileContent::Cabinet},
    {"MSWIM\0\0\0"sv, EkxFileContent::WindowsImage},
    {"\x4C\0\0\0\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46"sv, EkxFileContent::Shortcut},
};

}  // namespace

EkxFileContent KxContent_Of(const IkxByteSource& file) {
  std::array<unsigned char, 32> first;
  const size_t size = file.ReadAt(0, first).value_or(0);
  const std::string_view there(reinterpret_cast<const char*>(first.data()), size);
  const auto* const known = std::find_if(std::begin(kBeginnings), std::end(kBeginnings),
                                         [&](const auto& beginning) { return there.starts_with(beginning.bytes); });
  return known != std::end(kBeginnings) ? known->content : EkxFileContent::Unknown;
}
