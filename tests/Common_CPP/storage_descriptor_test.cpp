#include "Common_CPP/file/storage_descriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common_CPP/util/text.h"

namespace {

using Bytes = std::vector<unsigned char>;

/// A stick: vendor at 36, product at 45, revision at 62, serial number at 67.
Bytes Stick() {
  Bytes bytes = {0x28, 0, 0,    0, 0x58, 0, 0,    0, 0, 0, 1, 0, 0x24, 0, 0, 0, 0x2D, 0,
                 0,    0, 0x3E, 0, 0,    0, 0x43, 0, 0, 0, 7, 0, 0,    0, 0, 0, 0,    0};
  const std::string texts(
      "Vendor  \0Stick 32GB      \0"
      "1.00\0"
      "  0123456789ABCDEF  \0",
      52);
  bytes.insert(bytes.end(), texts.begin(), texts.end());
  return bytes;
}

void Put(Bytes& bytes, size_t at, uint32_t number) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<unsigned char>(number >> (8 * i));
}

std::string Text(const std::optional<KxWString>& text) { return text ? KxText_ToUtf8(*text) : "none"; }

TEST(StorageDescriptor, TellsWhatADeviceSaysOfItself) {
  const Bytes bytes = Stick();
  ASSERT_EQ(bytes.size(), 0x58u);
  const auto device = KxStorage_ReadDescriptor(bytes);
  ASSERT_TRUE(device);
  EXPECT_EQ(device->bus, kKxBusUsb);
  EXPECT_EQ(device->deviceType, 0);
  EXPECT_EQ(Text(device->vendor), "Vendor");
  EXPECT_EQ(Text(device->product), "Stick 32GB");
  EXPECT_EQ(Text(device->serialNumber), "0123456789ABCDEF");
}

TEST(StorageDescriptor, TextsThatAreNotInTheReplyAreNotThere) {
  for (const uint32_t offset : {0u, 1u, 35u, 0x58u, 0x59u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    for (const size_t field : {size_t{12}, size_t{16}, size_t{24}}) {
      Bytes bytes = Stick();
      Put(bytes, field, offset);
      const auto device = KxStorage_ReadDescriptor(bytes);
      ASSERT_TRUE(device);
      EXPECT_EQ(device->vendor.has_value(), field != 12) << offset;
      EXPECT_EQ(device->product.has_value(), field != 16) << offset;
      EXPECT_EQ(device->serialNumber.has_value(), field != 24) << offset;
    }
  }
  Bytes blank = Stick();
  Put(blank, 12, 0x57);  // the NUL at the end
  EXPECT_EQ(KxStorage_ReadDescriptor(blank)->vendor, std::nullopt);
}

TEST(StorageDescriptor, IsNoLongerThanItSaysNorThanWhatCame) {
  Bytes bytes = Stick();
  for (const uint32_t size : {0u, 8u, 35u}) {
    Put(bytes, 4, size);
    EXPECT_FALSE(KxStorage_ReadDescriptor(bytes)) << size;
  }
  Put(bytes, 4, 40);
  EXPECT_EQ(Text(KxStorage_ReadDescriptor(bytes)->vendor), "Vend") << "cut where it ends";
  EXPECT_EQ(KxStorage_ReadDescriptor(bytes)->product, std::nullopt);
  Put(bytes, 4, 0xFFFFFFFF);
  EXPECT_EQ(Text(KxStorage_ReadDescriptor(bytes)->serialNumber), "0123456789ABCDEF");
}

TEST(StorageDescriptor, EachTruncationTellsLess) {
  const Bytes whole = Stick();
  for (size_t size = 0; size < whole.size(); ++size) {
    const Bytes part(whole.begin(),
                     whole.begin() + static_cast<ptrdiff_t>(size));  // its own, so that reads beyond show
    const auto device = KxStorage_ReadDescriptor(part);
    ASSERT_EQ(device.has_value(), size >= 36) << size;
    if (!device) continue;
    EXPECT_EQ(device->vendor.has_value(), size > 36);
    EXPECT_EQ(device->product.has_value(), size > 45);
    EXPECT_EQ(device->serialNumber.has_value(), size > 69) << "behind two blanks";
    const std::string product = device->product ? Text(device->product) : "";
    EXPECT_EQ(std::string("Stick 32GB").rfind(product, 0), 0u) << product;
  }
}

TEST(StorageDescriptor, TextsAreBounded) {
  Bytes bytes = Stick();
  Put(bytes, 4, 100000);
  bytes.resize(67);
  bytes.resize(2000, 'x');
  EXPECT_EQ(KxStorage_ReadDescriptor(bytes)->serialNumber, KxWString(kKxMaxDeviceText, KXW('x')));
  const unsigned char odd[] = {'\t', 'a', 0xE9, '\n', 'b', ' '};
  EXPECT_EQ(Text(KxStorage_DeviceText(odd)), "a\xEF\xBF\xBD\nb");
}

}  // namespace
