// What a storage device says of itself, as Windows hands it on: the reply to a query of its properties, whose texts
// come from the device, whatever it claims to be. Read by the same rules on every platform.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "Common_CPP/util/text_view.h"

struct SkxStorageDescriptor {
  uint8_t deviceType = 0;  ///< of SCSI: 0 a disk, 5 an optical drive
  uint32_t bus = 0;        ///< 7 is USB
  std::optional<KxWString> vendor;
  std::optional<KxWString> product;
  std::optional<KxWString> serialNumber;
};

inline constexpr uint8_t kKxScsiOptical = 5;
inline constexpr uint32_t kKxBusUsb = 7;

/// Nothing when the reply has no room for what every one has. A text outside of it, or without a letter, is not there;
/// one that does not end is cut where the reply does.
std::optional<SkxStorageDescriptor> KxStorage_ReadDescriptor(std::span<const unsigned char> reply);

/// What a device calls itself, as a text: without the blanks that fill it up, of at most so many units; nothing when
/// none are left. A byte beyond ASCII is U+FFFD, since nobody says what it stands for.
inline constexpr size_t kKxMaxDeviceText = 256;
std::optional<KxWString> KxStorage_DeviceText(std::span<const unsigned char> bytes);
