#include <kx_util/media_facts.h>

#include "Agent/engine/kx_util/watch/evaluation_fault.h"
#include "Common_CPP/file/media_device.h"

bool KxUtil_GetMediaFacts(CkxTextView path, SkxMediaFacts& media) noexcept {
  return KxEntry(false, [&] {
    std::optional<SkxMediaDevice> device = KxMedia_DeviceOf(path);
    if (!device) return false;
    const bool isUsb = device->kind == EkxMediaKind::Usb;
    SkxMediaFacts found = {isUsb ? kKxMediaUsb : kKxMediaOpticalDisc, std::move(device->vendor),
                           std::move(device->product), std::move(device->serialNumber)};
    media = std::move(found);
    return true;
  });
}
