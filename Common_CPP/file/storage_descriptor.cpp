#include "Common_CPP/file/storage_descriptor.h"

#include <algorithm>

#include "Common_CPP/util/text.h"

namespace {

// Where the reply has what: STORAGE_DEVICE_DESCRIPTOR.
constexpr size_t kSizeAt = 4;
constexpr size_t kDeviceTypeAt = 8;
constexpr size_t kVendorAt = 12;
constexpr size_t kProductAt = 16;
constexpr size_t kSerialNumberAt = 24;
constexpr size_t kBusAt = 28;
constexpr size_t kHeaderSize = 36;

using BytesView = std::span<const unsigned char>;

/// `at` is of the header, which is there.
uint32_t NumberAt(BytesView reply, size_t at) {
  return uint32_t{reply[at]} | uint32_t{reply[at + 1]} << 8 | uint32_t{reply[at + 2]} << 16 |
         uint32_t{reply[at + 3]} << 24;
}

/// The text whose offset is at `at`. No offset into the header is one: 0 means none, and so do all ones of a few
/// drivers.
std::optional<KxWString> TextAt(BytesView reply, size_t at) {
  const size_t offset = NumberAt(reply, at);
  if (offset < kHeaderSize || offset >= reply.size()) return std::nullopt;
  const BytesView rest = reply.subspan(offset);
  const auto length = static_cast<size_t>(std::find(rest.begin(), rest.end(), 0) - rest.begin());
  return KxStorage_DeviceText(rest.first(length));
}

}  // namespace

std::optional<SkxStorageDescriptor> KxStorage_ReadDescriptor(std::span<const unsigned char> reply) {
  if (reply.size() < kHeaderSize || NumberAt(reply, kSizeAt) < kHeaderSize) return std::nullopt;
  reply = reply.first(std::min<size_t>(reply.size(), NumberAt(reply, kSizeAt)));
  SkxStorageDescriptor device;
  device.deviceType = reply[kDeviceTypeAt];
  device.bus = NumberAt(reply, kBusAt);
  device.vendor = TextAt(reply, kVendorAt);
  device.product = TextAt(reply, kProductAt);
  device.serialNumber = TextAt(reply, kSerialNumberAt);
  return device;
}

std::optional<KxWString> KxStorage_DeviceText(std::span<const unsigned char> bytes) {
  KxWString text;
  for (const unsigned char byte : bytes.first(std::min(bytes.size(), kKxMaxDeviceText))) {
    text += byte < 0x80 ? static_cast<WCHAR>(byte) : WCHAR{0xFFFD};
  }
  const CkxTextView trimmed = KxText_Trim(text);
  return trimmed.IsEmpty() ? std::nullopt : std::optional(trimmed.ToString());
}
