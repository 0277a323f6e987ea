#include "Common_CPP/signature/script_signature_posix.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "Common_CPP/file/byte_source.h"
#include "Common_CPP/file/path.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr uint64_t kMaxScriptBytes = 8 * 1024 * 1024;
constexpr std::string_view kBeginMark = "SIG # Begin signature block";
constexpr std::string_view kEndMark = "SIG # End signature block";

struct SkxCommentForm {
  const WCHAR* extension;
  std::string_view begin;
  std::string_view end;
};

constexpr SkxCommentForm kForms[] = {
    {KXW(".ps1"), "# ", ""},           {KXW(".psm1"), "# ", ""},        {KXW(".psd1"), "# ", ""},
    {KXW(".ps1xml"), "<!-- ", " -->"}, {KXW(".psc1"), "<!-- ", " -->"}, {KXW(".cdxml"), "<!-- ", " -->"},
    {KXW(".mof"), "/* ", " */"},
};

const SkxCommentForm* FormOf(CkxTextView path) {
  const CkxTextView extension = KxPath_Extension(path);
  const auto form = std::find_if(std::begin(kForms), std::end(kForms), [&](const SkxCommentForm& known) {
    return KxText_Equals(extension, known.extension, false);
  });
  return form != std::end(kForms) ? form : nullptr;
}

KxWString Wide(std::string_view ascii) { return KxWString(ascii.begin(), ascii.end()); }

KxWString Comment(const SkxCommentForm& form, std::string_view text) {
  return Wide(form.begin) + Wide(text) + Wide(form.end);
}

/// With its byte order mark; nothing for an encoding other than UTF-8 and UTF-16LE.
std::optional<KxWString> TextOf(const std::vector<unsigned char>& bytes) {
  const bool isUtf16 = bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
  if (!isUtf16) return KxText_FromUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  if (bytes.size() % sizeof(WCHAR) != 0) return std::nullopt;
  KxWString text(bytes.size() / sizeof(WCHAR), WCHAR{});
  std::memcpy(text.data(), bytes.data(), bytes.size());
  return text;
}

/// The next line without its end; false at the end of the text.
bool NextLine(KxWStringView& rest, KxWStringView& line) {
  if (rest.empty()) return false;
  const size_t end = std::min(rest.find(KXW('\n')), rest.size());
  line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  if (line.ends_with(KXW('\r'))) line.remove_suffix(1);
  return true;
}

std::vector<unsigned char> FromBase64(const std::string& text) {
  std::vector<unsigned char> bytes(text.size() / 4 * 3);
  const int size =
      EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (text.size() % 4 != 0 || size <= 0) return {};
  const size_t padding = text.size() - text.find_last_not_of('=') - 1;
  bytes.resize(static_cast<size_t>(size) - std::min(padding, static_cast<size_t>(size)));
  return bytes;
}

/// `block`: the lines behind the first mark.
void ReadBlock(const SkxCommentForm& form, KxWStringView block, SkxScriptSignature& signature) {
  const KxWString begin = Wide(form.begin);
  const KxWString end = Wide(form.end);
  const KxWString endMark = Comment(form, kEndMark);
  std::string base64;
  for (KxWStringView line; NextLine(block, line);) {
    if (line == endMark) {
      signature.isWhole = block.empty();
      signature.message = FromBase64(base64);
      return;
    }
    if (line.size() < begin.size() + end.size() || !line.starts_with(begin) || !line.ends_with(end)) return;
    for (const WCHAR unit : line.substr(begin.size(), line.size() - begin.size() - end.size())) {
      base64 += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
  }
}

}  // namespace

bool KxScriptSignature_IsFor(CkxTextView path) { return FormOf(path) != nullptr; }

std::optional<SkxScriptSignature> KxScriptSignature_Read(const IkxByteSource& file, uint64_t size, CkxTextView path) {
  const SkxCommentForm* const form = FormOf(path);
  if (form == nullptr || size > kMaxScriptBytes) return std::nullopt;
  std::vector<unsigned char> bytes(static_cast<size_t>(size));
  if (!file.ReadExactly(0, bytes)) return std::nullopt;
  const std::optional<KxWString> text = TextOf(bytes);
  if (!text) return std::nullopt;

  SkxScriptSignature signature;
  const KxWString lineEnd = KXW("\r\n");
  const KxWString beginMark = Comment(*form, kBeginMark);
  const size_t begin = text->find(beginMark);
  signature.hasBlock = begin != text->npos;
  if (!signature.hasBlock) return signature;
  KxWStringView covered = KxWStringView(*text).substr(0, begin);
  if (!covered.ends_with(lineEnd)) return signature;
  covered.remove_suffix(lineEnd.size());
  const auto* const coveredBytes = reinterpret_cast<const unsigned char*>(covered.data());
  signature.covered.assign(coveredBytes, coveredBytes + covered.size() * sizeof(WCHAR));
  const KxWStringView behind = KxWStringView(*text).substr(begin + beginMark.size());
  if (behind.starts_with(lineEnd)) ReadBlock(*form, behind.substr(lineEnd.size()), signature);
  return signature;
}
