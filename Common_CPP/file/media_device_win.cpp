#include "Common_CPP/file/machine_facts.h"
#include "Common_CPP/file/media_device.h"
#include "Common_CPP/file/storage_descriptor.h"
#include "Common_CPP/util/handle_win.h"
#include "Common_CPP/util/last_error.h"

// After windows.h, which it does not include itself.
#include <winioctl.h>

namespace {

constexpr size_t kLongestPath = 32768;  // units
constexpr size_t kReplyBytes = 4096;    // more than a header and three texts

static_assert(kKxBusUsb == BusTypeUsb && offsetof(STORAGE_DEVICE_DESCRIPTOR, VendorIdOffset) == 12 &&
                  offsetof(STORAGE_DEVICE_DESCRIPTOR, SerialNumberOffset) == 24 &&
                  offsetof(STORAGE_DEVICE_DESCRIPTOR, RawDeviceProperties) == 36,
              "the reply is read by its offsets");

/// "E:\", or the folder where the volume is mounted; empty on failure.
KxWString VolumeRoot(CkxTextView path) {
  KxWString root(kLongestPath, WCHAR{});
  if (!GetVolumePathNameW(path.ToString().c_str(), root.data(), static_cast<DWORD>(root.size()))) return {};
  return root.c_str();
}

/// Nobody is asked over the net.
bool IsOnThisMachine(const KxWString& root) {
  const UINT type = GetDriveTypeW(root.c_str());
  return type == DRIVE_REMOVABLE || type == DRIVE_FIXED || type == DRIVE_CDROM;
}

/// Open for questions alone, which needs no rights to what is on it.
CkxHandle OpenVolume(const KxWString& root) {
  WCHAR name[64];  // "\\?\Volume{GUID}\"
  if (!GetVolumeNameForVolumeMountPointW(root.c_str(), name, static_cast<DWORD>(std::size(name)))) return CkxHandle();
  KxWString volume = name;
  while (!volume.empty() && volume.back() == L'\\') volume.pop_back();  // else it is the root folder
  return CkxHandle(CreateFileW(volume.c_str(), 0, kKxShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
}

std::optional<SkxStorageDescriptor> AskDevice(HANDLE volume) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageDeviceProperty;
  query.QueryType = PropertyStandardQuery;
  unsigned char reply[kReplyBytes] = {};
  DWORD size = 0;
  if (!DeviceIoControl(volume, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query), reply, sizeof(reply), &size,
                       nullptr) ||
      size > sizeof(reply)) {
    return std::nullopt;
  }
  return KxStorage_ReadDescriptor({reply, size});
}

}  // namespace

std::optional<SkxMediaDevice> KxMedia_DeviceOf(CkxTextView path) {
  const CkxLastErrorGuard guard;
  const KxWString root = VolumeRoot(path);
  if (root.empty() || !IsOnThisMachine(root)) return std::nullopt;
  const CkxHandle volume = OpenVolume(root);
  const std::optional<SkxStorageDescriptor> device = volume ? AskDevice(volume.Get()) : std::nullopt;
  if (!device || (device->deviceType != kKxScsiOptical && device->bus != kKxBusUsb)) return std::nullopt;
  const bool isOptical = device->deviceType == kKxScsiOptical;
  return SkxMediaDevice{isOptical ? EkxMediaKind::OpticalDisc : EkxMediaKind::Usb, device->vendor, device->product,
                        device->serialNumber};
}
