// The device behind a file or a folder, where that is one that people plug in or put in: asked of the system each time,
// since another medium may be there by the next.
#pragma once

#include <optional>

#include "Common_CPP/util/text_view.h"

enum class EkxMediaKind : unsigned char {
  Usb,          ///< storage on the USB, a stick or a disk
  OpticalDisc,  ///< a disc, whatever its drive is connected by
};

/// What the device says of itself. A text that it does not have is not there.
struct SkxMediaDevice {
  EkxMediaKind kind = EkxMediaKind::Usb;
  std::optional<KxWString> vendor;
  std::optional<KxWString> product;
  std::optional<KxWString> serialNumber;
};

/// `path` is a full path, of anything that is there: "E:\" too. Nothing for what lies on a device of the machine's own,
/// on another machine, or where the system does not tell.
std::optional<SkxMediaDevice> KxMedia_DeviceOf(CkxTextView path);
