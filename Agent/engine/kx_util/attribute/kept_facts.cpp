#include "Agent/engine/kx_util/attribute/kept_facts.h"

#include <kx_util/ext_file_attributes.h>

#include <algorithm>
#include <charconv>

#include "Agent/engine/kx_util/attribute/data_signature.h"
#include "Agent/engine/kx_util/attribute/secret_provider.h"
#include "Common_CPP/file/kernel_ea_trust.h"
#include "Common_CPP/util/file_time.h"
#include "Common_CPP/util/text.h"

namespace {

constexpr const char* kContentDigests = "$KERNEL.PURGE.KXFH";
constexpr const char* kCoveredDigests = "$KERNEL.PURGE.KXCATHASH";
constexpr const char* kSigners = "$KERNEL.PURGE.KXSBJCN";

constexpr std::string_view kKeptVersion = "1 ";
constexpr uint64_t kForever = UINT64_MAX;
constexpr uint64_t kOneDay = uint64_t{24} * 3600 * 10'000'000;  // 100 ns

std::span<const unsigned char> KeptBytes(std::string_view text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

/// As operations on attributes take it.
void* HandleOf(const CkxFileReader& file) {
  return reinterpret_cast<void*>(file.NativeHandle());  // NOLINT(performance-no-int-to-ptr): as the system has it
}

/// Takes the next line off `text`; nothing at its end.
std::optional<std::string_view> NextLine(std::string_view& text) {
  const size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

template <class Number>
std::optional<Number> KeptNumber(std::string_view text) {
  Number number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<std::vector<unsigned char>> BytesOfDigits(std::string_view digits) {
  std::vector<unsigned char> bytes(digits.size() / 2);
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char* const pair = digits.data() + 2 * i;
    const auto parsed = std::from_chars(pair, pair + 2, bytes[i], 16);
    if (parsed.ec != std::errc() || parsed.ptr != pair + 2) return std::nullopt;
  }
  return digits.size() % 2 == 0 ? std::optional(std::move(bytes)) : std::nullopt;
}

std::string LinesOf(const KxFileDigests& digests, bool areCovered) {
  std::string lines;
  for (const SkxFileDigestName& known : kKxFileDigestNames) {
    const auto found = digests.find(known.digest);
    if (known.digest.isAuthenticode != areCovered || found == digests.end()) continue;
    lines += KxText_ToUtf8(known.name) + "##" + KxText_ToUtf8(KxHash_Hexadecimal(found->second)) + "\n";
  }
  return lines;
}

/// A digest of another length, or of no known name, is none.
void AddDigests(std::string_view lines, bool areCovered, KxFileDigests& digests) {
  while (const std::optional<std::string_view> line = NextLine(lines)) {
    const size_t mark = std::min(line->find("##"), line->size());
    const std::optional<KxWString> name = KxText_FromUtf8(line->substr(0, mark));
    const SkxFileDigestName* const known = name ? KxFileDigest_Named(*name) : nullptr;
    if (known == nullptr || known->digest.isAuthenticode != areCovered) continue;
    std::optional<std::vector<unsigned char>> bytes = BytesOfDigits(line->substr(std::min(mark + 2, line->size())));
    if (bytes && bytes->size() == known->bytes) digests[known->digest] = std::move(*bytes);
  }
}

/// A name with a control character would be another text when it is read.
std::optional<std::string> LineOf(const SkxSigner& signer) {
  const std::string name = KxText_ToUtf8(signer.name);
  const auto isControl = [](char unit) { return static_cast<unsigned char>(unit) < 0x20; };
  if (std::any_of(name.begin(), name.end(), isControl) || KxText_FromUtf8(name) != signer.name) return std::nullopt;
  return std::to_string(static_cast<uint32_t>(signer.status)) + " " + name + "\n";
}

std::optional<SkxSigner> SignerOf(std::string_view& lines) {
  const std::optional<std::string_view> line = NextLine(lines);
  const size_t blank = line ? line->find(' ') : std::string_view::npos;
  if (blank == std::string_view::npos) return std::nullopt;
  const std::optional<uint32_t> status = KeptNumber<uint32_t>(line->substr(0, blank));
  std::optional<KxWString> name = KxText_FromUtf8(line->substr(blank + 1));
  if (!status || *status > static_cast<uint32_t>(EkxPublisherStatus::Revoked) || !name) return std::nullopt;
  return SkxSigner{std::move(*name), static_cast<EkxPublisherStatus>(*status)};
}

}  // namespace

KxFileDigests CkxKeptFacts::Digests() const {
  KxFileDigests digests;
  if (const std::optional<std::string> lines = _Read(kContentDigests, kForever)) AddDigests(*lines, false, digests);
  if (const std::optional<std::string> lines = _Read(kCoveredDigests, kForever)) AddDigests(*lines, true, digests);
  return digests;
}

std::optional<SkxSigners> CkxKeptFacts::Signers() const {
  const std::optional<std::string> kept = _Read(kSigners, kOneDay);
  if (!kept) return std::nullopt;
  std::string_view lines = *kept;
  std::optional<SkxSigner> first = SignerOf(lines);
  std::optional<SkxSigner> second = SignerOf(lines);
  if (!first || !second || !lines.empty()) return std::nullopt;
  return SkxSigners{std::move(*first), std::move(*second)};
}

void CkxKeptFacts::Keep(const KxFileDigests& digests, const std::optional<SkxSigners>& signers) const {
  SkxFileStatus now;
  if (!CkxExtFileAttributes::DrvSetEnabled() || !_IsBelieved()) return;
  if (!_file.Status(now) || now != _status) return;
  if (const std::string lines = LinesOf(digests, false); !lines.empty()) _Write(kContentDigests, lines);
  if (const std::string lines = LinesOf(digests, true); !lines.empty()) _Write(kCoveredDigests, lines);
  if (!signers || signers->first.status == EkxPublisherStatus::Unknown) return;
  const std::optional<std::string> first = LineOf(signers->first);
  const std::optional<std::string> second = LineOf(signers->second);
  if (first && second) _Write(kSigners, *first + *second);
}

/// Without a key, where the kernel guards such attributes.
bool CkxKeptFacts::_IsBelieved() const {
  return (KxSecrets_AreInstalled() || KxKernelEa_AreGuarded()) && CkxExtFileAttributes::KernelExtAttrSupportedByOS() &&
         KxKernelEa_IsBelievable(_file.NativeHandle());
}

/// What is signed: the text, for that attribute of that file as it is. When it was changed last is the mark's to say
/// where no kernel does: setting the attribute is a change too.
std::string CkxKeptFacts::_Bound(const char* name, const std::string& text) const {
  std::string bound = std::string(name) + "\n";
  for (const uint64_t number : {_status.identity.volume, _status.identity.file, _status.size,
                                static_cast<uint64_t>(_status.modificationTime)}) {
    bound += std::to_string(number) + "\n";
  }
  return bound + text;
}

std::optional<std::string> CkxKeptFacts::_Read(const char* name, uint64_t maxAge) const {
  CkxFileFullEaInfo kept;
  if (!_IsBelieved()) return std::nullopt;
  if (!CkxExtFileAttributes::GetFromFile(HandleOf(_file), name, kept)) return std::nullopt;
  std::string text(reinterpret_cast<const char*>(kept.Value()), kept.ValueLength());
  if (KxSecrets_AreInstalled()) {
    const size_t signature = text.rfind('\n') + 1;
    const auto stored = BytesOfDigits(std::string_view(text).substr(signature));
    text.erase(signature);
    const auto check = EkxSignatureCheck::KeyedAlone;
    if (!stored || !KxDataSignature_Holds(KeptBytes(_Bound(name, text)), *stored, check, "CkxKeptFacts")) {
      return std::nullopt;
    }
  }
  std::string_view lines = text;
  const std::optional<std::string_view> head = NextLine(lines);
  if (!head || !head->starts_with(kKeptVersion)) return std::nullopt;
  const std::optional<uint64_t> foundOut = KeptNumber<uint64_t>(head->substr(kKeptVersion.size()));
  const auto now = static_cast<uint64_t>(KxFileTime_Now());
  if (!foundOut || (maxAge != kForever && (*foundOut > now || now - *foundOut > maxAge))) return std::nullopt;
  return std::string(lines);
}

void CkxKeptFacts::_Write(const char* name, const std::string& lines) const {
  std::string text = std::string(kKeptVersion) + std::to_string(KxFileTime_Now()) + "\n" + lines;
  if (KxSecrets_AreInstalled()) {
    const auto signature = KxDataSignature_Make(KeptBytes(_Bound(name, text)), EkxSignatureForm::Keyed);
    if (!signature) return;
    text += KxText_ToUtf8(KxHash_Hexadecimal(*signature));
  }
  CkxFileFullEaInfo kept;
  if (text.size() > UINT16_MAX) return;
  const std::span<const unsigned char> bytes = KeptBytes(text);
  if (kept.Set(name, bytes.data(), static_cast<unsigned short>(bytes.size()), 0)) {
    CkxExtFileAttributes::DrvSetToFile(HandleOf(_file), kept);
  }
}
