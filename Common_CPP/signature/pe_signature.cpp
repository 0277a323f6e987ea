#include "Common_CPP/signature/pe_signature.h"

#include <algorithm>
#include <array>

#include "Common_CPP/pe/pe_image.h"
#include "Common_CPP/util/byte_cursor.h"

namespace {

constexpr uint64_t kAlignment = 8;
constexpr size_t kEntryHeaderBytes = 8;
constexpr uint16_t kIsSignedMessage = 2;
constexpr uint32_t kMaxMessageBytes = 8 * 1024 * 1024;
constexpr size_t kMaxSignatures = 64;

uint64_t Aligned(uint64_t offset) { return (offset + kAlignment - 1) / kAlignment * kAlignment; }

/// The first message among the entries from `begin` to `end`.
std::vector<unsigned char> ReadMessage(const IkxByteSource& file, uint64_t begin, uint64_t end) {
  std::array<unsigned char, kEntryHeaderBytes> header;
  for (size_t i = 0; i < kMaxSignatures && begin < end && end - begin > header.size(); ++i) {
    if (!file.ReadExactly(begin, header)) break;
    const uint32_t length = KxBytes_Load<uint32_t>(header.data());
    if (length <= header.size() || length > end - begin) break;
    if (KxBytes_Load<uint16_t>(header.data() + 6) == kIsSignedMessage) {
      if (length > kMaxMessageBytes) break;
      std::vector<unsigned char> message(length - header.size());
      if (!file.ReadExactly(begin + header.size(), message)) break;
      return message;
    }
    begin += Aligned(length);
  }
  return {};
}

}  // namespace

std::optional<SkxPeSignature> KxPeSignature_Read(const IkxByteSource& file, uint64_t size) {
  const std::optional<CkxPeImage> image = CkxPeImage::Read(file);
  if (!image) return std::nullopt;

  SkxPeSignature signature;
  signature.covered.leftOut.push_back({image->ChecksumOffset(), image->ChecksumOffset() + 4});
  const std::optional<uint64_t> entry = image->DirectoryOffset(EkxPeDirectory::Certificates);
  const SkxPeDirectory table = image->Directory(EkxPeDirectory::Certificates);
  uint64_t behindHeaders = 0;
  if (entry) {
    behindHeaders = *entry + 8;
    signature.covered.leftOut.push_back({*entry, behindHeaders});
  }
  signature.hasTable = table.address != 0 && table.size != 0;
  const uint64_t end = uint64_t{table.address} + table.size;
  const bool isBehindHeaders = signature.hasTable && table.address >= behindHeaders;
  signature.isTableLast = isBehindHeaders && end == size;
  if (isBehindHeaders) signature.message = ReadMessage(file, table.address, std::min(end, size));
  if (signature.isTableLast) {
    signature.covered.leftOut.push_back({table.address, end});
  } else {
    signature.covered.zerosBehind = static_cast<size_t>(Aligned(size) - size);
  }
  return signature;
}
